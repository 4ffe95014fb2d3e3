#include "FolderEditView.h"

#include "AccessibleRoles.h"
#include "AppState.h"
#include "ColorHex.h"
#include "Fonts.h"
#include "Style.h"
#include "Theme.h"
#include "VexoButton.h"

#include <QAbstractButton>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

// A 26-point circle in a folder colour; the chosen one carries a ring around it, and the focused one
// a second ring in the accent.
class Swatch final : public QAbstractButton {
public:
    Swatch(const Theme& theme, const QString& color, QWidget* parent)
        : QAbstractButton(parent)
        , m_theme(theme)
        , m_color(colorFromHex(color)) {
        setFixedSize(38, 38);
        setCursor(Qt::PointingHandCursor);
        setCheckable(true);
        setAccessibleName(u"Цвет "_s + color);
        AccessibleRoles::setRole(this, QAccessible::RadioButton); // one colour of the eight
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const QPointF centre = QRectF(rect()).center();
        painter.setPen(Qt::NoPen);
        painter.setBrush(m_color);
        painter.drawEllipse(centre, 13, 13);
        painter.setBrush(Qt::NoBrush);
        if (isChecked()) {
            painter.setPen(QPen(m_theme.palette().textPrimary, 2));
            painter.drawEllipse(centre, 15, 15);
        }
        // The focus ring, outside the chosen one's, once the keyboard moves focus.
        if (hasFocus() && window()->testAttribute(Qt::WA_KeyboardFocusChange)) {
            painter.setPen(QPen(m_theme.palette().accent, 2));
            painter.drawEllipse(centre, 18, 18);
        }
    }

private:
    const Theme& m_theme;
    QColor m_color;
};

} // namespace

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
    Style::setText(m_title, Palette::Role::textPrimary);
    layout->addWidget(m_title);
    m_name = new QLineEdit(m_folder ? m_folder->name : QString(), this);
    m_name->setPlaceholderText(u"Название папки"_s);
    m_name->setAccessibleName(u"Название папки"_s);
    m_name->setFont(uiFont(14));
    connect(m_name, &QLineEdit::textChanged, this, &FolderEditView::refresh);
    layout->addWidget(m_name);
    m_colorLabel = new QLabel(u"Цвет"_s, this);
    m_colorLabel->setFont(uiFont(12));
    Style::setText(m_colorLabel, Palette::Role::textSecondary);
    layout->addWidget(m_colorLabel);
    auto* swatches = new QHBoxLayout;
    swatches->setSpacing(4);
    for (const QString& color : colors()) {
        auto* swatch = new Swatch(theme, color, this);
        connect(swatch, &QAbstractButton::clicked, this, [this, color] { chooseColor(color); });
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
    refresh();
}

QString FolderEditView::ringedColor() const {
    return colors().contains(m_selectedColor) ? m_selectedColor : QString();
}

void FolderEditView::chooseColor(const QString& color) {
    m_selectedColor = color;
    refresh();
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

void FolderEditView::refresh() {
    for (int i = 0; i < m_swatches.size(); ++i)
        m_swatches[i]->setChecked(colors()[i] == m_selectedColor);
    m_confirm->setEnabled(!m_name->text().trimmed().isEmpty());
}
