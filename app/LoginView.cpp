#include "LoginView.h"

#include "AppState.h"
#include "Fonts.h"
#include "Icons.h"
#include "Theme.h"
#include "VexoButton.h"
#include "VexoCard.h"

#include <QDesktopServices>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QUrl>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

const QString botHandle = QStringLiteral(VEXO_BOT_HANDLE);
const QString botUrl = QStringLiteral(VEXO_BOT_URL);

// Spaces and tabs only: a pasted key keeps any line break it came with, as the service will say.
QString trimSpacesAndTabs(const QString& text) {
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && (text[begin] == u' ' || text[begin] == u'\t'))
        ++begin;
    while (end > begin && (text[end - 1] == u' ' || text[end - 1] == u'\t'))
        --end;
    return text.mid(begin, end - begin);
}

} // namespace

LoginView::LoginView(Theme& theme, LoginAction onLogin, QWidget* parent)
    : QWidget(parent)
    , m_theme(theme)
    , m_onLogin(std::move(onLogin)) {
    auto* outer = new QVBoxLayout(this);
    outer->addStretch();
    auto* column = new QWidget(this);
    column->setFixedWidth(360);
    auto* layout = new QVBoxLayout(column);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    m_logoMark = new QLabel(column);
    m_logoMark->setFixedSize(56, 56);
    m_logoMark->setAlignment(Qt::AlignCenter);
    layout->addWidget(m_logoMark, 0, Qt::AlignHCenter);
    layout->addSpacing(8);
    m_logoCaption = new QLabel(u"Task Tracker"_s, column);
    m_logoCaption->setFont(uiFont(12, QFont::Medium));
    layout->addWidget(m_logoCaption, 0, Qt::AlignHCenter);
    layout->addSpacing(22);
    m_heading = new QLabel(u"Войти в аккаунт"_s, column);
    m_heading->setFont(uiFont(22, QFont::Bold));
    layout->addWidget(m_heading, 0, Qt::AlignHCenter);
    layout->addSpacing(6);
    m_subtitle = new QLabel(u"Используй ключ из Telegram для входа"_s, column);
    m_subtitle->setFont(uiFont(13));
    layout->addWidget(m_subtitle, 0, Qt::AlignHCenter);
    layout->addSpacing(24);

    m_fieldLabel = new QLabel(u"Ключ входа"_s, column);
    m_fieldLabel->setFont(uiFont(12, QFont::Medium));
    layout->addWidget(m_fieldLabel);
    layout->addSpacing(6);
    m_key = new QLineEdit(column);
    m_key->setPlaceholderText(u"vexo-tasks-..."_s);
    m_key->setAccessibleName(u"Ключ входа"_s);
    m_key->setFont(uiFont(14));
    m_fieldLabel->setBuddy(m_key);
    connect(m_key, &QLineEdit::returnPressed, this, &LoginView::submit);
    layout->addWidget(m_key);
    layout->addSpacing(8);
    m_error = new QLabel(column);
    m_error->setWordWrap(true);
    m_error->setFont(uiFont(12));
    m_error->hide();
    layout->addWidget(m_error);
    layout->addSpacing(8);
    m_button = new VexoButton(theme, VexoButton::Kind::primary, u"Войти"_s, column);
    m_button->setMinimumHeight(40);
    connect(m_button, &QPushButton::clicked, this, &LoginView::submit);
    layout->addWidget(m_button);
    layout->addSpacing(24);

    auto* help = new VexoCard(theme, column);
    auto* helpLayout = new QVBoxLayout(help);
    helpLayout->setContentsMargins(16, 14, 16, 14);
    helpLayout->setSpacing(10);
    m_helpTitle = new QLabel(u"Как получить ключ"_s, help);
    m_helpTitle->setFont(uiFont(13, QFont::DemiBold));
    helpLayout->addWidget(m_helpTitle);
    const QStringList steps{u"Открой бот"_s, u"Введи /mykey или нажми «Мой ключ» и скопируй ключ"_s};
    for (int i = 0; i < steps.size(); ++i) {
        auto* row = new QHBoxLayout;
        row->setSpacing(10);
        auto* badge = new QLabel(QString::number(i + 1), help);
        badge->setFixedSize(20, 20);
        badge->setAlignment(Qt::AlignCenter);
        badge->setFont(uiFont(11, QFont::DemiBold));
        auto* text = new QLabel(steps[i], help);
        text->setWordWrap(true);
        text->setFont(uiFont(13));
        // A wrapped label in a fixed-width card must claim its wrapped height itself.
        text->setMinimumHeight(text->heightForWidth(360 - 32 - 30));
        row->addWidget(badge, 0, Qt::AlignTop);
        row->addWidget(text, 1);
        helpLayout->addLayout(row);
        m_badges << badge;
        m_steps << text;
    }
    m_link = new QLabel(help);
    m_link->setFont(uiFont(13, QFont::Medium));
    m_link->setTextInteractionFlags(Qt::TextBrowserInteraction);
    m_link->setOpenExternalLinks(false);
    connect(m_link, &QLabel::linkActivated, this, [](const QString& url) { QDesktopServices::openUrl(QUrl(url)); });
    helpLayout->addWidget(m_link);
    layout->addWidget(help);

    outer->addWidget(column, 0, Qt::AlignHCenter);
    outer->addStretch();
    connect(&m_theme, &Theme::changed, this, &LoginView::restyle);
    restyle();
}

void LoginView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    m_key->setFocus();
}

QString LoginView::errorText() const {
    return m_error->isVisible() ? m_error->text() : QString();
}

void LoginView::submit() {
    if (m_loading)
        return;
    const QString key = trimSpacesAndTabs(m_key->text());
    if (key.isEmpty())
        return;
    // Detached: the coroutine checks that this view still exists before touching it.
    (void)run(key);
}

QCoro::Task<void> LoginView::run(QString key) {
    QPointer<LoginView> self(this);
    setLoading(true);
    m_error->hide();
    try {
        co_await m_onLogin(std::move(key));
    } catch (...) {
        if (!self)
            co_return;
        m_error->setText(AppState::describe(std::current_exception()));
        m_error->show();
    }
    if (self)
        setLoading(false);
}

void LoginView::setLoading(bool loading) {
    m_loading = loading;
    m_button->setText(loading ? u"Проверка..."_s : u"Войти"_s);
    m_button->setEnabled(!loading);
}

void LoginView::restyle() {
    const Palette& p = m_theme.palette();
    QColor markGround = p.accent;
    markGround.setAlphaF(0.15);
    m_logoMark->setStyleSheet(u"background: %1; border-radius: 14px;"_s.arg(markGround.name(QColor::HexArgb)));
    m_logoMark->setPixmap(Icons::pixmap(u"bolt.fill"_s, 26, p.accent, devicePixelRatioF()));
    m_logoCaption->setStyleSheet(u"color: %1; letter-spacing: 1px;"_s.arg(p.textTertiary.name()));
    m_heading->setStyleSheet(u"color: %1;"_s.arg(p.textPrimary.name()));
    m_subtitle->setStyleSheet(u"color: %1;"_s.arg(p.textSecondary.name()));
    m_fieldLabel->setStyleSheet(u"color: %1;"_s.arg(p.textSecondary.name()));
    m_error->setStyleSheet(u"color: %1;"_s.arg(p.red.name()));
    m_helpTitle->setStyleSheet(u"color: %1;"_s.arg(p.textPrimary.name()));
    for (QLabel* badge : std::as_const(m_badges))
        badge->setStyleSheet(u"color: #1f1e1d; background: %1; border-radius: 10px;"_s.arg(p.accent.name()));
    for (QLabel* step : std::as_const(m_steps))
        step->setStyleSheet(u"color: %1;"_s.arg(p.textSecondary.name()));
    m_link->setText(u"<a href=\"%1\" style=\"color: %2; text-decoration: none;\">%3 →</a>"_s.arg(
        botUrl.toHtmlEscaped(), p.accent.name(), botHandle.toHtmlEscaped()));
}
