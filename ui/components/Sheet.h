#pragma once

#include <QDialog>

// A modal sheet over the main window. No button of a sheet is ever a default button, not even one
// added after it opened, and a plain Return or Enter that no field used does nothing: a sheet
// closes or saves only through its own buttons and bindings, so what was typed is never lost to a
// stray Return. Esc closes it, as it closes any dialog.
class Sheet : public QDialog {
    Q_OBJECT

public:
    explicit Sheet(QWidget* parent = nullptr);

protected:
    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    // Makes every button under `widget` non-default and watches it for more.
    void adopt(QWidget* widget);
};
