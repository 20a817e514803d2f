#pragma once

#include "screens/design/VRPalette.h"

#include <QObject>

class PreferenceStore;

/// The palette of the program, stored in the preferences. Selecting another one repaints every widget. Main thread.
class ThemeManager : public QObject {
    Q_OBJECT

public:
    explicit ThemeManager(PreferenceStore& preferences);

    const VRPalette& palette() const { return *palette_; }
    const QString& paletteID() const { return palette_->id; }
    void select(const VRPalette& palette);

Q_SIGNALS:
    void paletteChanged();

private:
    void applyAppearance();

    PreferenceStore& preferences_;
    const VRPalette* palette_; ///< One of VRPalette::all(), never null.
};
