#pragma once

#include <QString>
#include <array>

/// The six boxes of a one-time code.
struct OTPEntry {
    static constexpr int length = 6;

    std::array<QString, length> digits; ///< One digit each, or empty.
    int focusedField = 0;

    /// Sets the text of box `index`. A digit moves the focus to the next box, an emptied box keeps it, a paste fills
    /// the boxes from the first.
    void change(int index, const QString& text);
    /// The user pressed Enter in box `index`.
    void commit(int index);
    QString code() const;
    bool isComplete() const { return code().size() == length; }
};
