#include "backend/Segments.h"

#include "backend/Checks.h"

using namespace Qt::StringLiterals;

namespace backend {

namespace {

#define SUMMED_SEGMENTS                                                                                                \
    "SELECT user, company, segment_date, segment_number, MIN(100, SUM(activity_rate)), "                               \
    "MIN(100, SUM(non_idle_percent)), SUM(mouse_movements), SUM(key_press_count) FROM segments "
#define BY_SLOT " GROUP BY user, company, segment_date, segment_number"

const std::vector<Field>& fieldsOfARow() {
    static const std::vector<Field> fields = {{u"segment_date"_s, day()},
                                              {u"segment_number"_s, integer(0, 143)},
                                              {u"timezone"_s, timeZone()},
                                              {u"activity_rate"_s, number(0, 100)},
                                              {u"mouse_movements"_s, count()},
                                              {u"key_press_count"_s, count()},
                                              {u"non_idle_percent"_s, number(0, 100)}};
    return fields;
}

std::vector<SegmentRow> readAll(Statement& rows) {
    std::vector<SegmentRow> found;
    while (rows.next())
        found.push_back({rows.text(0), rows.text(1), rows.text(2), static_cast<int>(rows.integer(3)), rows.real(4),
                         rows.real(5), rows.integer(6), rows.integer(7)});
    return found;
}

} // namespace

QJsonObject Segments::accept(const QString& user, const QString& company, const QString& device, const QJsonArray& rows,
                             qint64 now) {
    Transaction transaction(database);
    QJsonArray accepted, rejected;
    for (int index = 0; index < rows.size(); ++index) {
        const QJsonObject row = rows.at(index).toObject();
        const QString fault = faultIn(row, fieldsOfARow());
        if (!fault.isEmpty()) {
            rejected.append(QJsonObject{{u"index"_s, index}, {u"reason"_s, fault}});
            continue;
        }
        Statement(database,
                  "INSERT OR REPLACE INTO segments (user, company, device_uuid, segment_date, segment_number, "
                  "timezone, activity_rate, non_idle_percent, mouse_movements, key_press_count, received_at) "
                  "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
                  user, company, device, row.value(u"segment_date").toString(),
                  row.value(u"segment_number").toInteger(), row.value(u"timezone").toString(),
                  row.value(u"activity_rate").toDouble(), row.value(u"non_idle_percent").toDouble(),
                  row.value(u"mouse_movements").toInteger(), row.value(u"key_press_count").toInteger(), now)
            .run();
        accepted.append(index);
    }
    transaction.commit();
    return {{u"accepted"_s, accepted}, {u"rejected"_s, rejected}};
}

std::vector<SegmentRow> Segments::all() const {
    Statement rows(database, SUMMED_SEGMENTS BY_SLOT);
    return readAll(rows);
}

std::vector<SegmentRow> Segments::of(const QString& user, const QString& company, const QString& date) const {
    Statement rows(database, SUMMED_SEGMENTS "WHERE user = ? AND company = ? AND segment_date = ?" BY_SLOT, user,
                   company, date);
    return readAll(rows);
}

} // namespace backend
