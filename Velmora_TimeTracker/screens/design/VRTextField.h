#pragma once

#include "screens/design/VR.h"

#include <QWidget>

class QLineEdit;
class VRButton;
class VRLabel;

/// A labelled input line with an icon; a secret one has a button that shows its text.
class VRTextField : public QWidget {
    Q_OBJECT

public:
    enum class Kind { plain, secret };

    VRTextField(const VREnvironment& environment, const QString& label, const QString& icon, const QString& identifier,
                Kind kind = Kind::plain);

    QString text() const;
    /// Moves the cursor only if the text changes.
    void setText(const QString& text);
    void setRevealed(bool revealed);
    void focusInput();
    void setReadOnly(bool readOnly);

Q_SIGNALS:
    void edited(const QString& text);
    void submitted();
    void revealPressed();

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QRect frame() const;
    void adoptColours();

    const VREnvironment& environment_;
    const QString icon_;
    VRLabel* const label_;
    QLineEdit* const input_;
    VRButton* eye_ = nullptr; ///< Secret fields only.
};
