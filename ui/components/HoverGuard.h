#pragma once

#include <QObject>
#include <QPointer>

class QWidget;

// Keeps hover honest in one window. A list under a pop-up menu, or a window blocked by a modal
// sheet, is told nothing when the pointer leaves it, so the row or item that was under the pointer
// would keep its hover colour after the menu or sheet has gone. Whenever a menu or a dialog opens or
// closes, every hover in the window is dropped; the next move of the pointer sets the right one.
class HoverGuard final : public QObject {
    Q_OBJECT

public:
    explicit HoverGuard(QWidget* window);
    ~HoverGuard() override;

    // Drops the hover of every item view and widget under `root`.
    static void clear(QWidget* root);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QPointer<QWidget> m_window;
};
