#include "screens/tracker/TrackerNoticesView.h"

#include "screens/design/VRButton.h"
#include "screens/design/VRIconView.h"
#include "screens/design/VRLabel.h"
#include "screens/tracker/TrackerModel.h"

#include <QHBoxLayout>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

TrackerNoticesView::TrackerNoticesView(TrackerModel& model, const VREnvironment& environment)
    : VRCard(environment, Look::notice, 14)
    , model_(model)
    , environment_(environment) {}

TrackerNoticesView::Line TrackerNoticesView::makeLine() {
    const QString number = QString::number(lines_.size() + 1);
    const Line line{new QWidget, new VRLabel(environment_, VR::Type::caption, VR::Ink::text, {}, 4),
                    new VRButton(environment_, VRButton::Look::link, {}, u"#trackerNoticeAction"_s + number)};
    line.text->setAccessibleDescription(u"#trackerNotice"_s + number);
    auto* row = new QHBoxLayout(line.row);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(10);
    row->addWidget(new VRIconView(environment_, u"VRIconWarning"_s, 18, VR::Ink::danger), 0, Qt::AlignTop);
    row->addWidget(line.text, 1);
    row->addWidget(line.action);
    column().addWidget(line.row);
    connect(line.action, &VRButton::clicked, &model_, &TrackerModel::performNoticeAction);
    return line;
}

void TrackerNoticesView::refresh() {
    const std::vector<Notice> notices = model_.notices();
    setVisible(!notices.empty());
    while (lines_.size() < notices.size())
        lines_.push_back(makeLine());
    for (std::size_t i = 0; i < lines_.size(); ++i) {
        const Notice notice = i < notices.size() ? notices[i] : Notice();
        lines_[i].text->setText(notice.text);
        lines_[i].text->setToolTip(notice.tooltip.isEmpty() ? QString() : VR::tooltip(notice.tooltip));
        lines_[i].action->setText(notice.action);
        lines_[i].action->setVisible(!notice.action.isEmpty());
        lines_[i].row->setVisible(i < notices.size());
    }
}
