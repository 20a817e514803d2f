#include "backend/EmployerPage.h"

#include "backend/Checks.h"
#include "backend/Html.h"
#include "backend/Report.h"
#include "backend/Secrets.h"

#include <QFile>
#include <QLocale>
#include <algorithm>

namespace backend {

namespace {

using html::fill;
using html::markup;
using html::text;

/// One person at one company, on the chosen day.
struct Person {
    const Account& account;
    const Company& company;
    Day day;
    Stats stats;
    std::vector<Screenshot> screenshots;

    bool isQuiet() const { return day.sessions.empty() && stats.totalSeconds == 0 && screenshots.empty(); }
};

/// How a session stands at the moment.
enum class Standing { completed, moved, silent, running };

Standing standingOf(const Session& session, const Company& company, qint64 now) {
    if (session.status == u"completed")
        return Standing::completed;
    if (session.holderUuid != session.deviceUuid)
        return Standing::moved;
    // Reports come with each capture; two of them missed and a bit of slack mean that nobody is there.
    const qint64 interval = 60 * std::max(1, company.config.value(u"screenshot_interval_minutes").toInt());
    return now - session.reportedAt > 2 * interval + 120 ? Standing::silent : Standing::running;
}

QString percentText(double percent) {
    return QString::number(percent, 'f', 0) + u" %"_qs;
}

QString countText(qint64 count) {
    return QLocale(QLocale::English).toString(count);
}

/// The time of day in the company's zone, with the date when that is another one than the day's.
QString timeText(qint64 at, const Day& day) {
    const QDateTime time = QDateTime::fromSecsSinceEpoch(at, day.zone);
    return QLocale::c().toString(time, time.date() == day.date ? u"HH:mm"_qs : u"d MMM HH:mm"_qs);
}

QString initialsOf(const QString& name) {
    QString initials;
    for (const QString& word : name.simplified().split(u' ', Qt::SkipEmptyParts)) {
        if (word.front().isLetterOrNumber())
            initials += word.front().toUpper();
    }
    return initials.isEmpty()    ? u"?"_qs
           : initials.size() < 3 ? initials
                                 : initials.left(1) + initials.right(1);
}

QString slotMarkup(const Slot& slot, int number) {
    if (slot.trackedSeconds == 0 && !slot.reported)
        return u"<i></i>"_qs;
    const QString color = indicatorColor(slot.activityRate);
    const QString mark = !slot.reported       ? u"open"_qs
                         : color == u"green"  ? u"high"_qs
                         : color == u"orange" ? u"mid"_qs
                                              : u"low"_qs;
    QString title = slotTimeText(number) + u"–"_qs + slotTimeText(number + 1) + u" · "_qs +
                    durationText(slot.trackedSeconds) + u" tracked"_qs;
    if (slot.reported)
        title += u" · %1 activity · %2 keys · %3 mouse"_qs.arg(
            percentText(slot.activityRate), countText(slot.keyPressCount), countText(slot.mouseMovements));
    return fill(u"<i class=\"{{mark}}\" title=\"{{title}}\"></i>"_qs,
                {text(u"mark"_qs, mark), text(u"title"_qs, title)});
}

QString stripMarkup(const Day& day) {
    QString cells;
    for (std::size_t number = 0; number < day.slots.size(); ++number)
        cells += slotMarkup(day.slots[number], static_cast<int>(number));
    return fill(
        u"<div class=\"strip\" role=\"img\" aria-label=\"Activity in ten-minute steps from midnight to "
        "midnight\">{{cells}}</div><div class=\"hours\" aria-hidden=\"true\"><span>00</span><span>03</span>"
        "<span>06</span><span>09</span><span>12</span><span>15</span><span>18</span><span>21</span>"
        "<span>24</span></div>"_qs,
        {markup(u"cells"_qs, cells)});
}

QString pillMarkup(const Session& session, const Person& person, qint64 now) {
    const auto pill = [](const QString& mark, const QString& words) {
        return fill(u"<span class=\"pill {{mark}}\">{{words}}</span>"_qs,
                    {text(u"mark"_qs, mark), text(u"words"_qs, words)});
    };
    switch (standingOf(session, person.company, now)) {
    case Standing::completed:
        return pill(u"done"_qs, u"Completed"_qs);
    case Standing::moved:
        return pill(u"moved"_qs, u"Moved to another device"_qs);
    case Standing::silent:
        return pill(u"silent"_qs, u"Silent since %1"_qs.arg(timeText(session.reportedAt, person.day)));
    case Standing::running:
        return pill(u"running"_qs, u"Running"_qs);
    }
    return {};
}

QString sessionsMarkup(const Person& person, qint64 now) {
    QString rows;
    for (const Session& session : person.day.sessions) {
        const QString task = person.company.projectName(session.taskId);
        const QString end = session.stoppedAt ? timeText(*session.stoppedAt, person.day) : u"…"_qs;
        rows += fill(
            u"<tr><td class=\"time\">{{from}} – {{to}}</td><td class=\"task\" "
            u"title=\"{{task}}\">{{name}}</td>"
            "<td class=\"for\">{{for}}</td><td class=\"state\">{{state}}</td></tr>"_qs,
            {text(u"from"_qs, timeText(session.startedAt, person.day)), text(u"to"_qs, end),
             text(u"task"_qs, task.left(500)),
             markup(u"name"_qs, task.isEmpty() ? u"<span class=\"none\">No task</span>"_qs
                                               : u"<bdi>"_qs + task.left(500).toHtmlEscaped() + u"</bdi>"_qs),
             text(u"for"_qs, durationText(session.totalSeconds)),
             markup(u"state"_qs, pillMarkup(session, person, now))});
    }
    if (rows.isEmpty())
        return {};
    return u"<h3>Sessions</h3><table><tbody>"_qs + rows + u"</tbody></table>"_qs;
}

QString screenshotsMarkup(const Person& person) {
    QString links;
    for (const Screenshot& screenshot : person.screenshots) {
        const QString time = timeText(screenshot.capturedAt, person.day);
        links += fill(
            u"<a href=\"{{url}}\" title=\"{{title}}\"><img src=\"{{url}}\" alt=\"\" loading=\"lazy\">{{time}}"
            "</a>"_qs,
            {text(u"url"_qs, mediaPath(screenshot)), text(u"time"_qs, time),
             text(u"title"_qs, u"%1, %2, %3 × %4"_qs.arg(person.account.name, time)
                                   .arg(screenshot.size.width())
                                   .arg(screenshot.size.height()))});
    }
    if (links.isEmpty())
        return {};
    return u"<h3>Screenshots</h3><div class=\"shots\">"_qs + links + u"</div>"_qs;
}

QString personMarkup(const Person& person, qint64 now) {
    return fill(
        u"<section class=\"card\"><div class=\"person\"><span class=\"initials\" "
        u"aria-hidden=\"true\">{{initials}}</span>"
        "<div class=\"who\"><h2 class=\"clamp\"><bdi>{{name}}</bdi></h2><p "
        "class=\"clamp\"><bdi>{{company}}</bdi> · "
        "<bdi>{{email}}</bdi> · {{zone}}</p></div><dl "
        "class=\"day\"><div><dt>Tracked</dt><dd>{{tracked}}</dd></div>"
        "<div><dt>Activity</dt><dd>{{activity}}</dd></div><div><dt>Keys</dt><dd>{{keys}}</dd></div>"
        "<div><dt>Mouse</dt><dd>{{mouse}}</dd></div></dl></div>{{strip}}{{sessions}}{{shots}}</section>"_qs,
        {text(u"initials"_qs, initialsOf(person.account.name)), text(u"name"_qs, person.account.name),
         text(u"company"_qs, person.company.name), text(u"email"_qs, person.account.email),
         text(u"zone"_qs, QString::fromUtf8(person.day.zone.id())),
         text(u"tracked"_qs, durationText(person.stats.totalSeconds)),
         text(u"activity"_qs, percentText(person.stats.activityRate)),
         text(u"keys"_qs, countText(person.stats.keyPressCount)),
         text(u"mouse"_qs, countText(person.stats.mouseMovements)),
         markup(u"strip"_qs, stripMarkup(person.day)), markup(u"sessions"_qs, sessionsMarkup(person, now)),
         markup(u"shots"_qs, screenshotsMarkup(person))});
}

/// Those who did nothing at any of their companies, each once.
QString quietMarkup(const std::vector<Person>& people) {
    QString items;
    for (auto person = people.begin(); person != people.end();) {
        const auto next = std::find_if(
            person, people.end(), [&](const Person& other) { return &other.account != &person->account; });
        QStringList companies;
        for (auto each = person; each != next; ++each)
            companies.append(each->company.name);
        if (std::all_of(person, next, [](const Person& each) { return each.isQuiet(); }))
            items += fill(
                u"<li><bdi class=\"clamp\">{{name}}</bdi><small class=\"clamp\"><bdi>{{companies}}</bdi></small></li>"_qs,
                {text(u"name"_qs, person->account.name), text(u"companies"_qs, companies.join(u" · "_qs))});
        person = next;
    }
    if (items.isEmpty())
        return {};
    return u"<section class=\"card quiet\"><h3>Nothing tracked on this day</h3><ul>"_qs + items +
           u"</ul></section>"_qs;
}

QString figuresMarkup(const std::vector<Person>& people, qint64 now) {
    qint64 tracked = 0, working = 0, pictures = 0, sessions = 0;
    for (const Person& person : people) {
        tracked += person.stats.totalSeconds;
        pictures += static_cast<qint64>(person.screenshots.size());
        sessions += static_cast<qint64>(person.day.sessions.size());
        working +=
            std::any_of(person.day.sessions.begin(), person.day.sessions.end(), [&](const Session& session) {
                return standingOf(session, person.company, now) == Standing::running;
            });
    }
    return fill(
        u"<dl class=\"figures\"><div><dt>Working now</dt><dd>{{working}}</dd></div>"
        "<div><dt>Tracked</dt><dd>{{tracked}}</dd></div><div><dt>Sessions</dt><dd>{{sessions}}</dd></div>"
        "<div><dt>Screenshots</dt><dd>{{pictures}}</dd></div></dl>"_qs,
        {text(u"working"_qs, countText(working)), text(u"tracked"_qs, durationText(tracked)),
         text(u"sessions"_qs, countText(sessions)), text(u"pictures"_qs, countText(pictures))});
}

QString navigationMarkup(const QDate& day, const QDate& today) {
    const auto link = [](const QDate& to, const QString& label, const QString& words) {
        return fill(
            u"<a href=\"/?day={{day}}\" aria-label=\"{{label}}\">{{words}}</a>"_qs,
            {text(u"day"_qs, to.toString(Qt::ISODate)), text(u"label"_qs, label), text(u"words"_qs, words)});
    };
    const QString next = day < today ? link(day.addDays(1), u"Next day"_qs, u"›"_qs) : u"<span>›</span>"_qs;
    return link(day.addDays(-1), u"Previous day"_qs, u"‹"_qs) +
           fill(
               u"<input type=\"date\" aria-label=\"Day\" value=\"{{day}}\" max=\"{{today}}\">"_qs,
               {text(u"day"_qs, day.toString(Qt::ISODate)), text(u"today"_qs, today.toString(Qt::ISODate))}) +
           next + u"<a href=\"/\">Today</a>"_qs;
}

std::vector<Person> peopleOn(State& state, const QDate& date) {
    std::vector<Person> people;
    for (const Account& account : state.accounts.all()) {
        for (const QString& key : account.companies) {
            const Company& company = state.accounts.company(key);
            Day day = dayOf(state, account.email, company, date);
            const Stats stats = statsOf(day, 0, static_cast<int>(day.slots.size()));
            std::vector<Screenshot> screenshots;
            for (const Slot& slot : day.slots)
                screenshots.insert(screenshots.end(), slot.screenshots.begin(), slot.screenshots.end());
            people.push_back({account, company, std::move(day), stats, std::move(screenshots)});
        }
    }
    return people;
}

QString mainMarkup(const std::vector<Person>& people, qint64 now) {
    QString cards;
    for (const Person& person : people) {
        if (!person.isQuiet())
            cards += personMarkup(person, now);
    }
    if (cards.isEmpty())
        return figuresMarkup(people, now) + quietMarkup(people);
    return figuresMarkup(people, now) +
           u"<ul class=\"key\"><li><i class=\"high\"></i>60 % activity and more</li><li><i "
           u"class=\"mid\"></i>30 to 60 %</li>"
           "<li><i class=\"low\"></i>below 30 %</li><li><i class=\"open\"></i>tracked, segment still to come</li></ul>"_qs +
           cards + quietMarkup(people);
}

QString pageTemplate() {
    QFile file(u":/backend/employer.html"_qs);
    file.open(QIODevice::ReadOnly);
    return QString::fromUtf8(file.readAll());
}

} // namespace

Reply employerPage(State& state, const Call& call) {
    const qint64 now = state.second();
    const Company& first = state.accounts.company(state.accounts.all().front().companies.front());
    const QDate today = QDateTime::fromSecsSinceEpoch(now, first.zone()).date();
    const QDate day = dayFrom(call.parameter("day")).value_or(today);
    const QString nonce = randomToken();
    const QString page =
        fill(pageTemplate(),
             {text(u"day"_qs, day.toString(Qt::ISODate)), text(u"nonce"_qs, nonce),
              text(u"longDay"_qs, QLocale(QLocale::English).toString(day, u"dddd, d MMMM yyyy"_qs)),
              markup(u"navigation"_qs, navigationMarkup(day, today)),
              markup(u"main"_qs, mainMarkup(peopleOn(state, day), now))});
    Reply reply(page.toUtf8(), "text/html; charset=utf-8");
    reply.headers.emplace("Content-Security-Policy",
                          "default-src 'none'; img-src 'self' data:; connect-src 'self'; base-uri 'none'; "
                          "form-action 'none'; style-src 'nonce-" +
                              nonce.toStdString() + "'; script-src 'nonce-" + nonce.toStdString() + "'");
    reply.headers.emplace("Cache-Control", "no-store");
    return reply;
}

} // namespace backend
