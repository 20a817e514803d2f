#include "screens/tracker/MotivationalPhrases.h"

#include <cmath>

using namespace Qt::StringLiterals;

const std::array<const char*, 30> MotivationalPhrases::all = {
    "{time} making something awesome today",
    "{time} of focused work today",
    "{time} of meaningful progress today",
    "{time} well spent today",
    "{time} of deep focus today",
    "{time} getting things done today",
    "{time} of building momentum today",
    "{time} in the zone today",
    "{time} closer to your goals today",
    "{time} of pure productivity today",
    "{time} putting in the work today",
    "{time} of doing great work today",
    "{time} of small wins adding up today",
    "{time} of moving the needle today",
    "{time} of making it count today",
    "{time} of staying in flow today",
    "{time} of showing up today",
    "{time} of consistent effort today",
    "{time} of pushing forward today",
    "{time} of crafting something great today",
    "{time} of staying on track today",
    "{time} of intentional effort today",
    "{time} of creative flow today",
    "{time} of dedicated focus today",
    "{time} sharpening your craft today",
    "{time} of turning ideas into reality today",
    "{time} of laser-focused work today",
    "{time} of effort that pays off today",
    "{time} of leveling up today",
    "{time} of finding your rhythm today",
};

const std::array<const char*, 50> MotivationalPhrases::idle = {
    "Let's get started",
    "Let's make something memorable",
    "Let's make today count",
    "Let's do great work today",
    "Let's build something amazing",
    "Let's get into the zone",
    "Let's create something great",
    "Let's make every minute count",
    "Let's dive in",
    "Let's roll up our sleeves",
    "Let's turn ideas into reality",
    "Let's chase that goal",
    "Let's stay consistent today",
    "Let's go all in",
    "Let's make some progress",
    "Let's build momentum",
    "Let's sharpen the focus",
    "Let's make it a great day",
    "Let's start strong",
    "Let's hit the ground running",
    "Let's keep moving forward",
    "Let's make something worth being proud of",
    "Let's set the pace",
    "Let's give it everything",
    "Let's earn today's win",
    "Let's craft something special",
    "Let's stay sharp today",
    "Let's make today legendary",
    "Let's bring the energy",
    "Let's create something worth remembering",
    "Time to focus",
    "Time to make progress",
    "Time to level up",
    "Time to do your best work",
    "Time to make it happen",
    "Time to put in the work",
    "Time to find your flow",
    "Time to deliver",
    "Time to focus and ship",
    "Time to lock in",
    "Ready when you are",
    "Ready to crush it?",
    "Ready to make magic happen?",
    "Ready to stack some wins?",
    "Ready to bring your A-game?",
    "Today's the day",
    "Today is yours to shape",
    "Today, let's be unstoppable",
    "Today, let's do meaningful work",
    "Today, show up and shine",
};

std::optional<QString> MotivationalPhrases::formatTime(Seconds seconds) {
    if (seconds < 60)
        return std::nullopt;
    const auto minutes = static_cast<qint64>(seconds / 60);
    if (minutes < 60)
        return minutes == 1 ? u"1 minute"_s : u"%1 minutes"_s.arg(minutes);
    const auto hours = static_cast<qint64>(std::lround(seconds / 3600));
    return hours == 1 ? u"1 hour"_s : u"%1 hours"_s.arg(hours);
}

QString MotivationalPhrases::active(int index, Seconds todayTotalSeconds) {
    const auto time = formatTime(todayTotalSeconds);
    if (!time)
        return u"Let's get started"_s;
    const int count = static_cast<int>(all.size());
    const int entry = (index % count + count) % count;
    return QString::fromLatin1(all.at(static_cast<std::size_t>(entry))).replace(u"{time}"_s, *time);
}
