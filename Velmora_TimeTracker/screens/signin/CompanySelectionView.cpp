#include "screens/signin/CompanySelectionView.h"

#include "screens/design/VRButton.h"
#include "screens/design/VRIconCircle.h"
#include "screens/design/VRLabel.h"
#include "screens/design/VRPaint.h"
#include "screens/signin/LoginModel.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

/// A company in the list.
class CompanyRowButton : public VRButton {
public:
    CompanyRowButton(const VREnvironment& environment, const QString& name, bool isRecent)
        : VRButton(environment, Look::soft, {}, u"#company"_s) {
        setHeight(52);
        setSpokenName(VR::shortName(name, 200));
        setToolTip(VR::tooltip(name));
        auto* row = new QHBoxLayout(this);
        row->setContentsMargins(10, 0, 14, 0);
        row->setSpacing(12);
        row->addWidget(new VRIconCircle(environment, u"VRIconBuilding"_s, 32));
        auto* label = new VRLabel(environment, VR::Type::strong, VR::Ink::strong, name);
        label->setAttribute(Qt::WA_TransparentForMouseEvents);
        row->addWidget(label, 1);
        if (isRecent) {
            auto* recent = new VRLabel(environment, VR::Type::caption, VR::Ink::accent, u"Recent"_s);
            recent->setAttribute(Qt::WA_TransparentForMouseEvents);
            row->addWidget(recent);
        }
    }

    QSize sizeHint() const override { return {200, VRButton::sizeHint().height()}; }
};

namespace {
QString greeting(const QString& userName) {
    return u"Hi %1, you have access to multiple companies. Select one to continue."_s.arg(VR::shortName(userName, 40));
}

const LoginPhase::CompanyChoice& choice(const LoginModel& model) {
    return std::get<LoginPhase::CompanyChoice>(model.phase());
}
} // namespace

CompanySelectionView::CompanySelectionView(LoginModel& model, const VREnvironment& environment)
    : SignInPage(
          environment,
          {.banner = &VRPalette::companyBanner, .title = u"Select Company"_s, .text = greeting(choice(model).userName)})
    , model_(model) {
    buildRows();
    auto* notListed = new VRLabel(environment, VR::Type::caption, VR::Ink::text,
                                  u"Your company isn't listed? Contact the administrator of your company."_s, 3);
    notListed->setAlignment(Qt::AlignCenter);
    footer().addWidget(notListed);
    connect(&model, &LoginModel::changed, this, &CompanySelectionView::refresh);
    refresh();
}

void CompanySelectionView::buildRows() {
    fields().setSpacing(8);
    bool recentShown = false;
    for (const LoginCompany& company : choice(model_).companies) {
        const bool isRecent = !recentShown && choice(model_).recentEndpoint == company.endpoint;
        recentShown = recentShown || isRecent;
        auto* row = new CompanyRowButton(environment(), company.name, isRecent);
        rows_.push_back(row);
        fields().addWidget(row);
        connect(row, &VRButton::clicked, this,
                [this, company] { spawn(model_.performCompanySelect(company), "company choice"); });
    }
    message_ = new VRLabel(environment(), VR::Type::caption, VR::Ink::danger, {}, 2);
    message_->setAccessibleDescription(u"#companyMessage"_s);
    fields().addWidget(message_);
}

void CompanySelectionView::refresh() {
    for (CompanyRowButton* row : rows_)
        row->setEnabled(!model_.isBusy());
    const auto& error = model_.errorMessage();
    message_->setInk(error ? VR::Ink::danger : VR::Ink::text);
    message_->setText(error ? *error : model_.isBusy() ? u"Loading your company…"_s : QString());
    message_->setVisible(!message_->text().isEmpty());
}
