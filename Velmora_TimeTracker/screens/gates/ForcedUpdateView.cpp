#include "screens/gates/ForcedUpdateView.h"

#include "screens/design/VRButton.h"
#include "screens/design/VRIconCircle.h"
#include "screens/design/VRLabel.h"
#include "screens/gates/ForcedUpdateModel.h"

#include <QVBoxLayout>

using namespace Qt::StringLiterals;

ForcedUpdateView::ForcedUpdateView(ForcedUpdateModel& model, const VREnvironment& environment)
    : GateView(environment, u"Update Required"_s)
    , model_(model) {
    setAccessibleName(u"Update Required"_s);
    setAccessibleDescription(u"#ForceUpdate_Window"_s);
    putOnTop(new VRIconCircle(environment, u"VRIconUpdate"_s, iconDiameter));
    addText(u"Your app version is no longer supported."_s);
    version_ = addText({}, u"#forceUpdateVersion"_s);
    addText(u"Tracking has been stopped. Any session in progress was saved and uploaded."_s);
    download_ = new VRButton(environment, VRButton::Look::gradient, u"Update Now"_s, u"#ForceUpdate_DownloadButton"_s);
    addCentred(download_);
    connect(download_, &VRButton::clicked, &model, &ForcedUpdateModel::openDownload);
    connect(&model, &ForcedUpdateModel::changed, this, &ForcedUpdateView::refresh);
    refresh();
}

void ForcedUpdateView::refresh() {
    const auto latest = model_.latestVersion();
    version_->setVisible(latest.has_value());
    version_->setText(u"Latest version: "_s + VR::shortName(latest.value_or(QString()), 40));
    download_->setVisible(model_.hasDownload());
}
