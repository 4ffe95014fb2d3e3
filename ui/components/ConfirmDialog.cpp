#include "ConfirmDialog.h"

#include "Fonts.h"
#include "Style.h"
#include "VexoButton.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

ConfirmDialog::ConfirmDialog(Theme& theme, const QString& title, const QString& message, const QString& confirmText,
                             const QString& cancelText, QWidget* parent)
    : Sheet(parent) {
    setWindowTitle(title);
    setModal(true);
    setMinimumWidth(360);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 20, 24, 20);
    layout->setSpacing(8);
    m_title = new QLabel(title, this);
    m_title->setFont(uiFont(17, QFont::DemiBold));
    m_title->setWordWrap(true);
    Style::setText(m_title, Palette::Role::textPrimary);
    layout->addWidget(m_title);
    m_message = new QLabel(message, this);
    m_message->setFont(uiFont(13));
    m_message->setWordWrap(true);
    Style::setText(m_message, Palette::Role::textSecondary);
    layout->addWidget(m_message);
    layout->addSpacing(12);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    m_cancel = new VexoButton(theme, VexoButton::Kind::ghost, cancelText, this);
    connect(m_cancel, &QPushButton::clicked, this, &QDialog::reject);
    buttons->addWidget(m_cancel);
    m_confirm = new VexoButton(theme, VexoButton::Kind::primary, confirmText, this);
    connect(m_confirm, &QPushButton::clicked, this, &QDialog::accept);
    buttons->addWidget(m_confirm);
    layout->addLayout(buttons);
}
