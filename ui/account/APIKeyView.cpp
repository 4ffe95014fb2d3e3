#include "APIKeyView.h"

#include "AppState.h"
#include "ConfirmDialog.h"
#include "Fonts.h"
#include "IconView.h"
#include "Style.h"
#include "Theme.h"
#include "VexoButton.h"

#include <QApplication>
#include <QClipboard>
#include <QDesktopServices>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPointer>
#include <QUrl>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

APIKeyView::APIKeyView(AppState& state, Theme& theme, std::function<void()> dismiss, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_theme(theme)
    , m_dismiss(std::move(dismiss)) {
    setMinimumWidth(680);
    m_confirm = [&theme](QWidget* parent) {
        ConfirmDialog dialog(theme, u"Сгенерировать новый ключ?"_s, u"Старый ключ перестанет работать."_s,
                             u"Подтвердить"_s, u"Отмена"_s, parent);
        return dialog.exec() == QDialog::Accepted;
    };
    m_copiedTimer.setSingleShot(true);
    m_copiedTimer.setInterval(copiedMs);
    m_copiedTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_copiedTimer, &QTimer::timeout, this, [this] {
        m_copied = false;
        refresh();
    });

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 18, 24, 22);
    layout->setSpacing(12);
    auto* header = new QHBoxLayout;
    header->addWidget(new IconView(theme, u"key"_s, 18, Palette::Role::accent, this));
    auto* title = new QLabel(u"API Ключ"_s, this);
    title->setFont(uiFont(18, QFont::Bold));
    Style::setText(title, Palette::Role::textPrimary);
    header->addWidget(title);
    header->addStretch();
    m_close = new VexoButton(theme, VexoButton::Kind::ghost, QString(), this);
    m_close->setIconName(u"xmark"_s);
    m_close->setAccessibleName(u"Закрыть"_s);
    connect(m_close, &QPushButton::clicked, this, [this] { m_dismiss(); });
    header->addWidget(m_close);
    layout->addLayout(header);
    auto* explanation =
        new QLabel(u"Используй этот ключ для отправки задач через AI-ассистентов и внешние сервисы"_s, this);
    explanation->setWordWrap(true);
    explanation->setFont(uiFont(13));
    Style::setText(explanation, Palette::Role::textSecondary);
    layout->addWidget(explanation);

    auto* keyRow = new QHBoxLayout;
    m_key = new QLabel(this);
    m_key->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_key->setFont(QFont(u"monospace"_s, 12));
    m_key->setAccessibleName(u"API ключ"_s);
    Style::setRole(m_key, u"apiKey"_s);
    keyRow->addWidget(m_key, 1);
    m_copy = new VexoButton(theme, VexoButton::Kind::ghost, u"Копировать"_s, this);
    connect(m_copy, &QPushButton::clicked, this, &APIKeyView::copy);
    keyRow->addWidget(m_copy);
    layout->addLayout(keyRow);
    m_regenerate = new VexoButton(theme, VexoButton::Kind::ghost, u"Новый ключ"_s, this);
    m_regenerate->setIconName(u"arrow.clockwise"_s);
    connect(m_regenerate, &QPushButton::clicked, this, &APIKeyView::regenerate);
    layout->addWidget(m_regenerate, 0, Qt::AlignLeft);

    auto* exampleTitle = new QLabel(u"Пример запроса:"_s, this);
    exampleTitle->setFont(uiFont(13, QFont::DemiBold));
    Style::setText(exampleTitle, Palette::Role::textPrimary);
    layout->addWidget(exampleTitle);
    m_example = new QPlainTextEdit(this);
    m_example->setReadOnly(true);
    m_example->setFont(QFont(u"monospace"_s, 11));
    m_example->setFixedHeight(96);
    m_example->setLineWrapMode(QPlainTextEdit::NoWrap);
    layout->addWidget(m_example);
    m_docs = new VexoButton(theme, VexoButton::Kind::ghost, u"Документация API"_s, this);
    m_docs->setIconName(u"book.open"_s);
    connect(m_docs, &QPushButton::clicked, this,
            [this] { QDesktopServices::openUrl(QUrl(m_state.api().base() + u"/docs"_s)); });
    layout->addWidget(m_docs, 0, Qt::AlignLeft);

    connect(&m_state, &AppState::apiKeyValueChanged, this, &APIKeyView::refresh);
    refresh();
    // Fetched on every opening, so a key changed elsewhere never shows stale.
    (void)m_state.loadApiKey();
}

QString APIKeyView::exampleCommand(const QString& base, const QString& key) {
    const QString shown = key.isEmpty() ? u"vexoapi-..."_s : key;
    return u"curl -X POST "_s + base + u"/api/external/tasks \\\n"_s +
           u"  -H \"Content-Type: application/json\" \\\n"_s + u"  -H \"x-api-key: "_s + shown + u"\" \\\n"_s +
           u"  -d '{\"title\": \"Моя задача\", \"priority\": \"high\"}'"_s;
}

QString APIKeyView::example() const {
    return m_example->toPlainText();
}

QString APIKeyView::keyText() const {
    return m_key->text();
}

void APIKeyView::copy() {
    QClipboard* clipboard = QApplication::clipboard();
    clipboard->clear();
    clipboard->setText(m_state.apiKeyValue().value_or(QString()));
    // A second press inside the two seconds does not lengthen them.
    if (!m_copied) {
        m_copied = true;
        m_copiedTimer.start();
    }
    refresh();
}

void APIKeyView::regenerate() {
    if (m_regenerating || !m_confirm(this))
        return;
    (void)runRegenerate();
}

QCoro::Task<void> APIKeyView::runRegenerate() {
    QPointer<APIKeyView> self(this);
    m_regenerating = true;
    refresh();
    co_await m_state.regenerateApiKey();
    if (!self)
        co_return;
    m_regenerating = false;
    refresh();
}

void APIKeyView::refresh() {
    const QString key = m_state.apiKeyValue().value_or(QString());
    m_key->setText(key.isEmpty() ? u"…"_s : key);
    m_copy->setText(m_copied ? u"Скопировано!"_s : u"Копировать"_s);
    m_copy->setIconName(m_copied ? u"checkmark"_s : u"doc.on.doc"_s);
    m_regenerate->setEnabled(!m_regenerating);
    m_example->setPlainText(exampleCommand(m_state.api().base(), key));
}
