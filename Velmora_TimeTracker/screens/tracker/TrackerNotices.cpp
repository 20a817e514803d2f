#include "screens/tracker/TrackerNotices.h"

namespace {
QString unaccepted(int sessions) {
    return sessions == 1 ? QStringLiteral("1 session is not accepted by the server yet")
                         : QStringLiteral("%1 sessions are not accepted by the server yet").arg(sessions);
}

QString pruned(int pictures) {
    return pictures == 1
               ? QStringLiteral("1 picture was removed before it could be sent: too many are waiting.")
               : QStringLiteral("%1 pictures were removed before they could be sent: too many are waiting.")
                     .arg(pictures);
}
} // namespace

std::vector<Notice> trackerNotices(const NoticeSources& sources) {
    std::vector<Notice> notices;
    if (sources.notSaved)
        notices.push_back({*sources.notSaved, {}, {}});
    if (sources.unacceptedSessions > 0)
        notices.push_back({unaccepted(sources.unacceptedSessions), sources.unacceptedReason, {}});
    if (sources.prunedPictures > 0)
        notices.push_back({pruned(sources.prunedPictures), {}, {}});
    if (sources.configurationProblem)
        notices.push_back({*sources.configurationProblem, {}, QStringLiteral("Try again")});
    return notices;
}
