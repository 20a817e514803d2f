#pragma once

#include "screens/design/ThemeManager.h"
#include "screens/design/VRButton.h"
#include "screens/design/VRImages.h"
#include "screens/design/VRLabel.h"
#include "screens/root/PopoverView.h"
#include "screens/root/ScreenModels.h"
#include "storage/PreferenceStores.h"
#include "tests/support/EngineFixture.h"

#include <QCoreApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <gmock/gmock.h>

using namespace Qt::StringLiterals;

/// A name as a hostile server may send it.
inline const QString hostile =
    QString::fromUtf8("<b>مشروع\u202Ex</b>\t<img src='file:///etc/passwd'>\n") + QString(10000, 'W');

/// The visible control with that identifier in `root`; null if there is none.
template <typename Control = QWidget>
Control* control(QWidget& root, const QString& identifier) {
    for (QWidget* widget : root.findChildren<QWidget*>())
        if (widget->accessibleDescription() == identifier && widget->isVisibleTo(&root))
            return dynamic_cast<Control*>(widget);
    return nullptr;
}

/// The screens above the simulated program. A relaunch replaces the core and everything above it.
struct ScreensFixture : testing::Test {
    EngineFixture world;
    ThemeManager theme{world.machine.preferences};
    VRImages images;
    std::optional<ScreenModels> models;
    std::unique_ptr<PopoverView> shown;

    ScreensFixture() { relaunch(); }

    void relaunch() {
        shown.reset();
        models.reset();
        world.restart();
        models.emplace(*world.core);
    }
    void show(PopoverView::Place place = PopoverView::Place::window) {
        shown = std::make_unique<PopoverView>(*models, theme, images, place);
        shown->resize(shown->sizeHint());
        shown->show();
        settle();
    }
    void settle() {
        world.machine.timeline.settle();
        QCoreApplication::sendPostedEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        if (shown)
            shown->grab();
    }
    /// The name and text of the control with that identifier; "-" if it is not visible.
    QString text(const QString& identifier) {
        const auto* found = control(*shown, identifier);
        return found ? found->accessibleName() + found->property("text").toString() : u"-"_s;
    }
    void press(const QString& identifier) {
        auto* button = control<QAbstractButton>(*shown, identifier);
        ASSERT_TRUE(button) << qPrintable(identifier);
        button->click();
        settle();
    }
    void key(QObject* to, int key, const QString& text = {}) {
        QKeyEvent down(QEvent::KeyPress, key, Qt::NoModifier, text);
        QCoreApplication::sendEvent(to, &down);
        settle();
    }
    void click(QWidget* at) {
        at->setFocus();
        for (const auto type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease}) {
            const QPointF place(at->rect().center());
            QMouseEvent event(type, place, at->mapToGlobal(place), Qt::LeftButton, Qt::LeftButton, {});
            QCoreApplication::sendEvent(at, &event);
        }
        settle();
    }
    /// Checks that nothing exceeds the width and that no button or short label is cut off.
    void expectSound() {
        for (QWidget* widget : shown->findChildren<QWidget*>()) {
            if (!widget->isVisibleTo(shown.get()))
                continue;
            SCOPED_TRACE(qPrintable(widget->accessibleDescription() + widget->property("text").toString()));
            const QRect place(widget->mapTo(shown.get(), QPoint()), widget->size());
            EXPECT_TRUE(place.left() >= 0 && place.right() <= shown->width());
            if (const auto* button = dynamic_cast<VRButton*>(widget)) {
                EXPECT_FALSE(button->accessibleDescription().isEmpty());
                EXPECT_GE(button->width(), button->fontMetrics().horizontalAdvance(button->text()));
            }
            const auto* label = dynamic_cast<VRLabel*>(widget);
            if (label && label->text().size() < 100) {
                EXPECT_GE(label->height(), label->heightForWidth(label->width()));
                EXPECT_FALSE(label->isElided());
            }
        }
    }
    /// Shows the screen in a light and the dark palette, in the window and in the popover, and checks its layout. `sign` is
    /// a control by which the screen is known.
    void inEveryLook(const QString& sign) {
        SCOPED_TRACE(qPrintable(sign));
        for (const char* palette : {"pink", "black"})
            for (const auto place : {PopoverView::Place::window, PopoverView::Place::popover}) {
                theme.select(VRPalette::byID(palette));
                show(place);
                EXPECT_TRUE(control(*shown, sign));
                EXPECT_EQ(shown->grab().toImage().pixelColor(0, shown->height() - 1), theme.palette().appBackground);
                expectSound();
            }
    }
};
