#pragma once

#include "Sheet.h"

class QLabel;
class Theme;
class VexoButton;

// A question asked in the application's own look: its title and message in the dialog itself, a
// confirming button and a cancelling one, and no stock icon.
class ConfirmDialog final : public Sheet {
    Q_OBJECT

public:
    ConfirmDialog(Theme& theme, const QString& title, const QString& message, const QString& confirmText,
                  const QString& cancelText, QWidget* parent = nullptr);

    QLabel* titleLabel() const { return m_title; }
    QLabel* messageLabel() const { return m_message; }
    VexoButton* confirmButton() const { return m_confirm; }
    VexoButton* cancelButton() const { return m_cancel; }

private:
    QLabel* m_title;
    QLabel* m_message;
    VexoButton* m_confirm;
    VexoButton* m_cancel;
};
