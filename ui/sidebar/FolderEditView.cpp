#include "FolderEditView.h"

#include "AppState.h"
#include "Fonts.h"
#include "Theme.h"
#include "VexoButton.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

const QStringList& FolderEditView::colors() {
    static const QStringList palette{u"#E97553"_s, u"#E85879"_s, u"#9B6FE8"_s, u"#5B8AE8"_s,
                                     u"#4BB8AA"_s, u"#56B86E"_s, u"#E8A742"_s, u"#E85858"_s};
    return palette;
}

FolderEditView::FolderEditView(AppState& state, Theme& theme, std::optional<Folder> editingFolder,
                               std::function<void()> dismiss, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_theme(theme)
    , m_folder(std::move(editingFolder))
    , m_dismiss(std::move(dismiss))
    , m_selectedColor(m_folder ? m_folder->color : colors().first()) {
    setMinimumWidth(380);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 20, 24, 20);
    layout->setSpacing(14);
    m_title = new QLabel(m_folder ? u"Редактировать папку"_s : u"Новая папка"_s, this);
    m_title->setFont(uiFont(17, QFont::DemiBold));
    layout->addWidget(m_title);
    m_name = new QLineEdit(m_folder ? m_folder->name : QString(), this);
    m_name->setPlaceholderText(u"Название папки"_s);
    m_name->setAccessibleName(u"Название папки"_s);
    m_name->setFont(uiFont(14));
    connect(m_name, &QLineEdit::returnPressed, this, &FolderEditView::confirm);
    connect(m_name, &QLineEdit::textChanged, this, &FolderEditView::restyle);
    layout->addWidget(m_name);
    m_colorLabel = new QLabel(u"Цвет"_s, this);
    m_colorLabel->setFont(uiFont(12));
    layout->addWidget(m_colorLabel);
    auto* swatches = new QHBoxLayout;
    swatches->setSpacing(8);
    for (const QString& color : colors()) {
        auto* swatch = new QPushButton(this);
        swatch->setFixedSize(30, 30);
        swatch->setCursor(Qt::PointingHandCursor);
        swatch->setAccessibleName(u"Цвет "_s + color);
        connect(swatch, &QPushButton::clicked, this, [this, color] { chooseColor(color); });
        m_swatches << swatch;
        swatches->addWidget(swatch);
    }
    swatches->addStretch();
    layout->addLayout(swatches);
    layout->addSpacing(6);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    auto* cancel = new VexoButton(theme, VexoButton::Kind::ghost, u"Отмена"_s, this);
    connect(cancel, &QPushButton::clicked, this, [this] { m_dismiss(); });
    buttons->addWidget(cancel);
    m_confirm = new VexoButton(theme, VexoButton::Kind::primary, m_folder ? u"Сохранить"_s : u"Создать"_s, this);
    connect(m_confirm, &QPushButton::clicked, this, &FolderEditView::confirm);
    buttons->addWidget(m_confirm);
    layout->addLayout(buttons);
    connect(&m_theme, &Theme::changed, this, &FolderEditView::restyle);
    restyle();
}

QString FolderEditView::ringedColor() const {
    return colors().contains(m_selectedColor) ? m_selectedColor : QString();
}

void FolderEditView::chooseColor(const QString& color) {
    m_selectedColor = color;
    restyle();
}

void FolderEditView::confirm() {
    // The service refuses a blank name; the button stays off for one, and the name goes as typed.
    if (m_name->text().trimmed().isEmpty())
        return;
    if (m_folder)
        (void)m_state.updateFolder(m_folder->id, m_name->text(), m_selectedColor);
    else
        (void)m_state.createFolder(m_name->text(), m_selectedColor);
    m_dismiss();
}

void FolderEditView::restyle() {
    const Palette& p = m_theme.palette();
    m_title->setStyleSheet(u"color: %1;"_s.arg(p.textPrimary.name()));
    m_colorLabel->setStyleSheet(u"color: %1;"_s.arg(p.textSecondary.name()));
    for (int i = 0; i < m_swatches.size(); ++i) {
        const bool ringed = colors()[i] == m_selectedColor;
        m_swatches[i]->setStyleSheet(
            u"QPushButton { background: %1; border-radius: 15px; border: 2px solid %2; }"_s.arg(
                colors()[i], ringed ? p.textPrimary.name() : p.background.name()));
    }
    m_confirm->setEnabled(!m_name->text().trimmed().isEmpty());
}
