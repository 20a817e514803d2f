#pragma once

#include <QString>

/// Upload problems that the window shows.
struct UploadNotices {
    int unacceptedSessions = 0; ///< Of the current company: their start or end failed more often than the retry ladder
                                ///< has steps, and is tried hourly.
    QString unacceptedReason;   ///< Of the last such failure; empty when none has happened since the launch.
    int prunedPictures = 0;     ///< Deleted before they were sent, since the launch, because the folder was full.

    friend bool operator==(const UploadNotices&, const UploadNotices&) = default;
};
