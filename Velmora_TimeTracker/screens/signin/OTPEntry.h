#pragma once

#include <QString>
#include <array>

/// The six boxes of a one-time code.
struct OTPEntry {
    static constexpr int length = 6;

    std::array<QString, length> digits; ///< One digit each, or empty.
    int focusedField = 0;

    /// Box `index` now holds `text`: a digit moves on to the next box, an emptied box keeps the focus, a paste fills from
    /// the first.
    void change(int index, const QString& text);
    /// The commit key in a box.
    void commit(int index);
    QString code() const;
    bool isComplete() const { return code().size() == length; }
};
