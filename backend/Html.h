#pragma once

#include <QString>
#include <initializer_list>

namespace backend::html {

/// A value for a template: text is escaped, markup is put in as it is.
struct Value {
    QString name;
    QString markup;
};
Value text(const QString& name, const QString& value);
Value markup(const QString& name, const QString& value);

/// The template with each {{name}} replaced by its value, in one pass: what a value holds is never looked at
/// again. An unknown name is a programming error and ends the program.
QString fill(const QString& page, std::initializer_list<Value> values);

} // namespace backend::html
