#include "backend/Html.h"

#include <algorithm>

namespace backend::html {

Value text(const QString& name, const QString& value) {
    return {name, value.toHtmlEscaped()};
}

Value markup(const QString& name, const QString& value) {
    return {name, value};
}

QString fill(const QString& page, std::initializer_list<Value> values) {
    QString filled;
    qsizetype done = 0;
    for (qsizetype open = page.indexOf(u"{{"); open >= 0; open = page.indexOf(u"{{", done)) {
        const qsizetype close = page.indexOf(u"}}", open);
        const QStringView name = QStringView(page).sliced(open + 2, close - open - 2);
        const auto* value =
            std::find_if(values.begin(), values.end(), [name](const Value& each) { return each.name == name; });
        if (value == values.end())
            qFatal("a template names the unknown value %s", qPrintable(name.toString()));
        filled += QStringView(page).sliced(done, open - done);
        filled += value->markup;
        done = close + 2;
    }
    return filled.append(QStringView(page).sliced(done));
}

} // namespace backend::html
