#pragma once

#include <QString>
#include <optional>
#include <vector>

/// A short line on the tracker screen about something that the user can do little or nothing about.
struct Notice {
    QString text;
    QString tooltip; ///< Empty without one.
    QString action;  ///< Title of the button beside the text; empty without one.
    friend bool operator==(const Notice&, const Notice&) = default;
};

/// What the notices report. A default value gives none.
struct NoticeSources {
    std::optional<QString> notSaved; ///< Why sessions cannot be stored, as a sentence.
    int unacceptedSessions = 0;
    QString unacceptedReason;                    ///< The server's latest refusal of one of them; may be empty.
    int prunedPictures = 0;                      ///< Deleted without having been sent.
    std::optional<QString> configurationProblem; ///< Why tracking cannot start, as a sentence.
};

/// The notices in the order of the members of `sources`. Pure.
std::vector<Notice> trackerNotices(const NoticeSources& sources);
