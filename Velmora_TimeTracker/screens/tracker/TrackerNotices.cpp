#include "screens/tracker/TrackerNotices.h"

using namespace Qt::StringLiterals;

namespace {
QString unaccepted(int sessions) {
    return sessions == 1 ? u"1 session is not accepted by the server yet"_s
                         : u"%1 sessions are not accepted by the server yet"_s.arg(sessions);
}

QString pruned(int pictures) {
    return pictures == 1 ? u"1 picture was removed before it could be sent: too many are waiting."_s
                         : u"%1 pictures were removed before they could be sent: too many are waiting."_s.arg(pictures);
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
        notices.push_back({*sources.configurationProblem, {}, u"Try again"_s});
    return notices;
}
