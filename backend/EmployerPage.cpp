#include "backend/EmployerPage.h"

#include "backend/Checks.h"
#include "backend/Html.h"
#include "backend/Report.h"
#include "backend/Secrets.h"

#include <QFile>
#include <QLocale>
#include <algorithm>

using namespace Qt::StringLiterals;

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
    return QString::number(percent, 'f', 0) + u" %"_s;
}

QString countText(qint64 count) {
    return QLocale(QLocale::English).toString(count);
}

/// The time of day in the company's zone, with the date when that is another one than the day's.
QString timeText(qint64 at, const Day& day) {
    const QDateTime time = QDateTime::fromSecsSinceEpoch(at, day.zone);
    return QLocale::c().toString(time, time.date() == day.date ? u"HH:mm"_s : u"d MMM HH:mm"_s);
}

QString initialsOf(const QString& name) {
    QString initials;
    for (const QString& word : name.simplified().split(u' ', Qt::SkipEmptyParts))
        if (word.front().isLetterOrNumber())
            initials += word.front().toUpper();
    return initials.isEmpty() ? u"?"_s : initials.size() < 3 ? initials : initials.left(1) + initials.right(1);
}

QString slotMarkup(const Slot& slot, int number) {
    if (slot.trackedSeconds == 0 && !slot.reported)
        return u"<i></i>"_s;
    const QString color = indicatorColor(slot.activityRate);
    const QString mark = !slot.reported       ? u"open"_s
                         : color == u"green"  ? u"high"_s
                         : color == u"orange" ? u"mid"_s
                                              : u"low"_s;
    QString title = slotTimeText(number) + u"–"_s + slotTimeText(number + 1) + u" · "_s +
                    durationText(slot.trackedSeconds) + u" tracked"_s;
    if (slot.reported)
        title += u" · %1 activity · %2 keys · %3 mouse"_s.arg(
            percentText(slot.activityRate), countText(slot.keyPressCount), countText(slot.mouseMovements));
    return fill(u"<i class=\"{{mark}}\" title=\"{{title}}\"></i>"_s, {text(u"mark"_s, mark), text(u"title"_s, title)});
}

QString stripMarkup(const Day& day) {
    QString cells;
    for (std::size_t number = 0; number < day.slots.size(); ++number)
        cells += slotMarkup(day.slots[number], static_cast<int>(number));
    return fill(u"<div class=\"strip\" role=\"img\" aria-label=\"Activity in ten-minute steps from midnight to "
                "midnight\">{{cells}}</div><div class=\"hours\" aria-hidden=\"true\"><span>00</span><span>03</span>"
                "<span>06</span><span>09</span><span>12</span><span>15</span><span>18</span><span>21</span>"
                "<span>24</span></div>"_s,
                {markup(u"cells"_s, cells)});
}

QString pillMarkup(const Session& session, const Person& person, qint64 now) {
    const auto pill = [](const QString& mark, const QString& words) {
        return fill(u"<span class=\"pill {{mark}}\">{{words}}</span>"_s,
                    {text(u"mark"_s, mark), text(u"words"_s, words)});
    };
    switch (standingOf(session, person.company, now)) {
    case Standing::completed:
        return pill(u"done"_s, u"Completed"_s);
    case Standing::moved:
        return pill(u"moved"_s, u"Moved to another device"_s);
    case Standing::silent:
        return pill(u"silent"_s, u"Silent since %1"_s.arg(timeText(session.reportedAt, person.day)));
    case Standing::running:
        return pill(u"running"_s, u"Running"_s);
    }
    return {};
}

QString sessionsMarkup(const Person& person, qint64 now) {
    QString rows;
    for (const Session& session : person.day.sessions) {
        const QString task = person.company.projectName(session.taskId);
        const QString end = session.stoppedAt ? timeText(*session.stoppedAt, person.day) : u"…"_s;
        rows += fill(u"<tr><td class=\"time\">{{from}} – {{to}}</td><td class=\"task\" "
                     u"title=\"{{task}}\">{{name}}</td>"
                     "<td class=\"for\">{{for}}</td><td class=\"state\">{{state}}</td></tr>"_s,
                     {text(u"from"_s, timeText(session.startedAt, person.day)), text(u"to"_s, end),
                      text(u"task"_s, task.left(500)),
                      markup(u"name"_s, task.isEmpty() ? u"<span class=\"none\">No task</span>"_s
                                                       : u"<bdi>"_s + task.left(500).toHtmlEscaped() + u"</bdi>"_s),
                      text(u"for"_s, durationText(session.totalSeconds)),
                      markup(u"state"_s, pillMarkup(session, person, now))});
    }
    if (rows.isEmpty())
        return {};
    return u"<h3>Sessions</h3><table><tbody>"_s + rows + u"</tbody></table>"_s;
}

QString screenshotsMarkup(const Person& person) {
    QString links;
    for (const Screenshot& screenshot : person.screenshots) {
        const QString time = timeText(screenshot.capturedAt, person.day);
        links += fill(u"<a href=\"{{url}}\" title=\"{{title}}\"><img src=\"{{url}}\" alt=\"\" loading=\"lazy\">{{time}}"
                      "</a>"_s,
                      {text(u"url"_s, mediaPath(screenshot)), text(u"time"_s, time),
                       text(u"title"_s, u"%1, %2, %3 × %4"_s.arg(person.account.name, time)
                                            .arg(screenshot.size.width())
                                            .arg(screenshot.size.height()))});
    }
    if (links.isEmpty())
        return {};
    return u"<h3>Screenshots</h3><div class=\"shots\">"_s + links + u"</div>"_s;
}

QString personMarkup(const Person& person, qint64 now) {
    return fill(u"<section class=\"card\"><div class=\"person\"><span class=\"initials\" "
                u"aria-hidden=\"true\">{{initials}}</span>"
                "<div class=\"who\"><h2 class=\"clamp\"><bdi>{{name}}</bdi></h2><p "
                "class=\"clamp\"><bdi>{{company}}</bdi> · "
                "<bdi>{{email}}</bdi> · {{zone}}</p></div><dl "
                "class=\"day\"><div><dt>Tracked</dt><dd>{{tracked}}</dd></div>"
                "<div><dt>Activity</dt><dd>{{activity}}</dd></div><div><dt>Keys</dt><dd>{{keys}}</dd></div>"
                "<div><dt>Mouse</dt><dd>{{mouse}}</dd></div></dl></div>{{strip}}{{sessions}}{{shots}}</section>"_s,
                {text(u"initials"_s, initialsOf(person.account.name)), text(u"name"_s, person.account.name),
                 text(u"company"_s, person.company.name), text(u"email"_s, person.account.email),
                 text(u"zone"_s, QString::fromUtf8(person.day.zone.id())),
                 text(u"tracked"_s, durationText(person.stats.totalSeconds)),
                 text(u"activity"_s, percentText(person.stats.activityRate)),
                 text(u"keys"_s, countText(person.stats.keyPressCount)),
                 text(u"mouse"_s, countText(person.stats.mouseMovements)), markup(u"strip"_s, stripMarkup(person.day)),
                 markup(u"sessions"_s, sessionsMarkup(person, now)), markup(u"shots"_s, screenshotsMarkup(person))});
}

/// Those who did nothing at any of their companies, each once.
QString quietMarkup(const std::vector<Person>& people) {
    QString items;
    for (auto person = people.begin(); person != people.end();) {
        const auto next =
            std::find_if(person, people.end(), [&](const Person& other) { return &other.account != &person->account; });
        QStringList companies;
        for (auto each = person; each != next; ++each)
            companies.append(each->company.name);
        if (std::all_of(person, next, [](const Person& each) { return each.isQuiet(); }))
            items += fill(
                u"<li><bdi class=\"clamp\">{{name}}</bdi><small class=\"clamp\"><bdi>{{companies}}</bdi></small></li>"_s,
                {text(u"name"_s, person->account.name), text(u"companies"_s, companies.join(u" · "_s))});
        person = next;
    }
    if (items.isEmpty())
        return {};
    return u"<section class=\"card quiet\"><h3>Nothing tracked on this day</h3><ul>"_s + items + u"</ul></section>"_s;
}

QString figuresMarkup(const std::vector<Person>& people, qint64 now) {
    qint64 tracked = 0, working = 0, pictures = 0, sessions = 0;
    for (const Person& person : people) {
        tracked += person.stats.totalSeconds;
        pictures += static_cast<qint64>(person.screenshots.size());
        sessions += static_cast<qint64>(person.day.sessions.size());
        working += std::any_of(person.day.sessions.begin(), person.day.sessions.end(), [&](const Session& session) {
            return standingOf(session, person.company, now) == Standing::running;
        });
    }
    return fill(u"<dl class=\"figures\"><div><dt>Working now</dt><dd>{{working}}</dd></div>"
                "<div><dt>Tracked</dt><dd>{{tracked}}</dd></div><div><dt>Sessions</dt><dd>{{sessions}}</dd></div>"
                "<div><dt>Screenshots</dt><dd>{{pictures}}</dd></div></dl>"_s,
                {text(u"working"_s, countText(working)), text(u"tracked"_s, durationText(tracked)),
                 text(u"sessions"_s, countText(sessions)), text(u"pictures"_s, countText(pictures))});
}

QString navigationMarkup(const QDate& day, const QDate& today) {
    const auto link = [](const QDate& to, const QString& label, const QString& words) {
        return fill(u"<a href=\"/?day={{day}}\" aria-label=\"{{label}}\">{{words}}</a>"_s,
                    {text(u"day"_s, to.toString(Qt::ISODate)), text(u"label"_s, label), text(u"words"_s, words)});
    };
    const QString next = day < today ? link(day.addDays(1), u"Next day"_s, u"›"_s) : u"<span>›</span>"_s;
    return link(day.addDays(-1), u"Previous day"_s, u"‹"_s) +
           fill(u"<input type=\"date\" aria-label=\"Day\" value=\"{{day}}\" max=\"{{today}}\">"_s,
                {text(u"day"_s, day.toString(Qt::ISODate)), text(u"today"_s, today.toString(Qt::ISODate))}) +
           next + u"<a href=\"/\">Today</a>"_s;
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
    for (const Person& person : people)
        if (!person.isQuiet())
            cards += personMarkup(person, now);
    if (cards.isEmpty())
        return figuresMarkup(people, now) + quietMarkup(people);
    return figuresMarkup(people, now) +
           u"<ul class=\"key\"><li><i class=\"high\"></i>60 % activity and more</li><li><i "
           u"class=\"mid\"></i>30 to 60 %</li>"
           "<li><i class=\"low\"></i>below 30 %</li><li><i class=\"open\"></i>tracked, segment still to come</li></ul>"_s +
           cards + quietMarkup(people);
}

QString pageTemplate() {
    QFile file(u":/backend/employer.html"_s);
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
        fill(pageTemplate(), {text(u"day"_s, day.toString(Qt::ISODate)), text(u"nonce"_s, nonce),
                              text(u"longDay"_s, QLocale(QLocale::English).toString(day, u"dddd, d MMMM yyyy"_s)),
                              markup(u"navigation"_s, navigationMarkup(day, today)),
                              markup(u"main"_s, mainMarkup(peopleOn(state, day), now))});
    Reply reply(page.toUtf8(), "text/html; charset=utf-8");
    reply.headers.emplace("Content-Security-Policy",
                          "default-src 'none'; img-src 'self' data:; connect-src 'self'; base-uri 'none'; "
                          "form-action 'none'; style-src 'nonce-" +
                              nonce.toStdString() + "'; script-src 'nonce-" + nonce.toStdString() + "'");
    reply.headers.emplace("Cache-Control", "no-store");
    return reply;
}

} // namespace backend
