#include "platform/linux/session/Roads.h"

#include "platform/linux/x11/X11DisplaySource.h"
#include "platform/linux/x11/X11InputListener.h"

using namespace Qt::StringLiterals;

namespace {

class NoInput : public InputRoad, public IdleTimeSource {
public:
    explicit NoInput(QString why)
        : why_(std::move(why)) {}

    std::unique_ptr<InputEventTap> openTap(Handler) override { return nullptr; }
    std::optional<Seconds> secondsSinceLast(InputEventType) override { return std::nullopt; }
    Availability probe() override { return Unavailable{why_}; }

private:
    const QString why_;
};

class NoPictures : public PictureRoad {
public:
    explicit NoPictures(QString why)
        : why_(std::move(why)) {}

    std::variant<std::vector<DisplayDescription>, DisplayError> displays() override { return DisplayError{why_}; }
    Task<PictureResult> picture(DisplayDescription, QSize, double) override { co_return DisplayError{why_}; }
    Availability probe() override { return Unavailable{why_}; }

private:
    const QString why_;
};

Roads noRoads(const QString& why) {
    const auto input = std::make_shared<NoInput>(why);
    return {input, input, std::make_shared<NoPictures>(why)};
}

} // namespace

Roads roadsOf(SessionKind kind) {
    switch (kind) {
    case SessionKind::none:
        break;
    case SessionKind::wayland:
        return noRoads(u"This version offers no screen pictures or input counting on Wayland."_s);
    case SessionKind::x11:
        const auto listener = std::make_shared<X11InputListener>();
        return {listener, listener, std::make_shared<X11DisplaySource>()};
    }
    return noRoads(u"This session has no X server for screen pictures and input counting."_s);
}
