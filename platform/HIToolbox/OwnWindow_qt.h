// SPDX-License-Identifier: MIT
// OwnWindow_qt.h - windows of this API's own making: events, keys, background, controls.
#pragma once

#include "HIToolbox/Windows_qt.h"

#include <QtWidgets/QPushButton>

struct OpaqueControlRef;
struct OwnWindow;

/// The widget of a window of our own. It outlives its window if that is disposed inside a delivery.
class WindowWidget : public QWidget
{
public:
    WindowWidget()
        : QWidget(nullptr, Qt::Dialog)
    {
    }

    OwnWindow* window = nullptr; // null once disposed
    QPointer<QPushButton> defaultButton; // pressed by Return and Enter
    QPointer<QPushButton> cancelButton; // pressed by Escape and Control-period
    int deliveries = 0; // events of this window being delivered: it may not be deleted then

protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
};

/// Modal to the whole process while it is visible, of a fixed size, and with a close button in its frame.
struct OwnWindow final : WidgetWindow
{
    std::vector<std::shared_ptr<OpaqueControlRef>> controls; // containers before their content

    OwnWindow(const QString& title, const QRect& content, bool hasFrame);
    ~OwnWindow() override;
    WindowWidget* Widget() const { return static_cast<WindowWidget*>(widget.data()); }
    bool IsVisible() const override { return m_visible; }
    bool BlocksOthers() const override { return m_visible; }
    void Show() override;
    void Hide() override;
    void Move(QPoint content) override;
    void Vanish() override;
    void FreeControls() override { controls.clear(); }
    void SetBackground(ThemeBrush brush);
    /// To be called after a change of a text, its font or its visibility. Takes effect before the next paint.
    void UpdateTexts();
    /// Fits the texts of all controls, and tells screen readers of them.
    void FitTexts();

private:
    OwnWindow();

    bool m_textsChanged = true;
    bool m_visible = false; // by this API's calls, whatever the window system shows
};

/// Looks up a window of our own; null for other windows and invalid references.
std::shared_ptr<OwnWindow> OwnWindow_Find(WindowRef window);
