#pragma once

#include "platform/Permissions.h"
#include "platform/StreamSource.h"

#include <QSet>
#include <deque>

/// Synthetic displays that can fail at each step.
class SimulatedDisplays : public DisplaySource {
public:
    std::vector<DisplayDescription> list = {DisplayDescription{1, QSize(1920, 1080), 1}};
    std::optional<QString> listError;
    bool isListErrorDenial = true;
    QSet<quint32> failingPictures;  ///< Display ids for which the source throws an error.
    QSet<quint32> failingEncodings; ///< Display ids whose pictures cannot be encoded.
    bool streams = false;           ///< Pictures come from streams.
    /// Delivered at once when a stream starts.
    std::vector<StreamSample> streamSamples;
    std::optional<QString> streamError;
    int picturesTaken = 0;
    int streamsStopped = 0;

    std::variant<std::vector<DisplayDescription>, DisplayError> displays() override;
    Task<PictureResult> picture(DisplayDescription display, QSize pixelSize, double quality) override;
};

/// Scripted grants; counts the requests.
class SimulatedPermissions : public Permissions {
public:
    bool screenRecording = true;
    std::deque<bool> queuedScreenAnswers; ///< Returned before `screenRecording` is used.
    int inputMonitoring = 0;
    bool grantsOnRequest = false;
    QString denialReason;
    int screenProbes = 0;
    int requests = 0;
    int settingsOpened = 0;
    int resets = 0;

    bool canRecordScreen() override {
        ++screenProbes;
        if (queuedScreenAnswers.empty())
            return screenRecording;
        const bool answer = queuedScreenAnswers.front();
        queuedScreenAnswers.pop_front();
        return answer;
    }
    int inputMonitoringStatus() override { return inputMonitoring; }
    bool requestInputMonitoring() override {
        ++requests;
        return grantsOnRequest;
    }
    QString explanation() override { return denialReason; }
    void openScreenRecordingSettings() override { ++settingsOpened; }
    void openInputMonitoringSettings() override { ++settingsOpened; }
    void reset() override { ++resets; }
};
