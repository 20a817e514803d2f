#include "backend/Faults.h"

#include "backend/Checks.h"

#include <algorithm>
#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;

namespace backend {

namespace {

constexpr std::pair<const char16_t*, FaultKind> kinds[] = {
    {u"status", FaultKind::status},
    {u"delay", FaultKind::delay},
    {u"hang", FaultKind::hang},
    {u"reset-before", FaultKind::resetBefore},
    {u"reset-after", FaultKind::resetAfter},
    {u"truncate", FaultKind::truncate},
};

} // namespace

void Faults::add(const QJsonObject& body) {
    demand(body, {{u"path"_s, text(), false},
                  {u"count"_s, integer(1, 1000000), false},
                  {u"kind"_s, oneOf({u"status", u"delay", u"hang", u"reset-before", u"reset-after", u"truncate"})},
                  {u"status"_s, integer(200, 599), false},
                  {u"body"_s, text(), false},
                  {u"seconds"_s, number(0, 60), false}});
    const QString name = body.value(u"kind").toString();
    const auto* kind = std::find_if(std::begin(kinds), std::end(kinds),
                                    [&name](const auto& entry) { return name == QStringView(entry.first); });
    waiting.push_back({.path = body.value(u"path").toString(),
                       .count = body.value(u"count").toInteger(1),
                       .kind = kind->second,
                       .status = body.value(u"status").toInt(503),
                       .body = body.value(u"body").toString(),
                       .seconds = body.value(u"seconds").toDouble(1)});
}

void Faults::reset() {
    waiting.clear();
    ++resets;
    changed.notify_all();
}

std::optional<Fault> Faults::take(const QString& path) {
    const auto found =
        std::find_if(waiting.begin(), waiting.end(), [&path](const Fault& fault) { return path.contains(fault.path); });
    if (found == waiting.end())
        return std::nullopt;
    const Fault fault = *found;
    if (--found->count == 0)
        waiting.erase(found);
    return fault;
}

void Faults::wait(std::unique_lock<std::mutex>& lock, double seconds) {
    changed.wait_for(lock, std::chrono::duration<double>(seconds), [this, seen = resets] { return resets != seen; });
}

} // namespace backend
