#include "LoginView.h"

#include "AppState.h"
#include "Fonts.h"
#include "Icons.h"
#include "Style.h"
#include "Theme.h"
#include "VexoButton.h"
#include "VexoCard.h"

#include <QDesktopServices>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPainterPath>
#include <QPointer>
#include <QShowEvent>
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

// The logo mark: the bolt in the accent on a rounded tile of the accent at 15 %.
class LogoMark final : public QWidget {
public:
    LogoMark(const Theme& theme, QWidget* parent)
        : QWidget(parent)
        , m_theme(theme) {
        setFixedSize(56, 56);
    }

protected:
    void paintEvent(QPaintEvent*) override {
        const QColor accent = m_theme.palette().accent;
        QColor ground = accent;
        ground.setAlphaF(0.15);
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        QPainterPath tile;
        tile.addRoundedRect(QRectF(rect()), 14, 14);
        painter.fillPath(tile, ground);
        painter.drawPixmap(QPointF(15, 15),
                           Icons::pixmap(QStringLiteral("bolt.fill"), 26, accent, devicePixelRatioF()));
    }

private:
    const Theme& m_theme;
};

} // namespace

LoginView::LoginView(Theme& theme, LoginAction onLogin, QWidget* parent)
    : QWidget(parent)
    , m_onLogin(std::move(onLogin)) {
    auto* outer = new QVBoxLayout(this);
    outer->addStretch();
    auto* column = new QWidget(this);
    column->setFixedWidth(360);
    auto* layout = new QVBoxLayout(column);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    layout->addWidget(new LogoMark(theme, column), 0, Qt::AlignHCenter);
    layout->addSpacing(8);
    auto* caption = new QLabel(u"Task Tracker"_s, column);
    QFont captionFont = uiFont(12, QFont::Medium);
    captionFont.setLetterSpacing(QFont::AbsoluteSpacing, 1);
    caption->setFont(captionFont);
    Style::setText(caption, Palette::Role::textTertiary);
    layout->addWidget(caption, 0, Qt::AlignHCenter);
    layout->addSpacing(22);
    auto* heading = new QLabel(u"Войти в аккаунт"_s, column);
    heading->setFont(uiFont(22, QFont::Bold));
    Style::setText(heading, Palette::Role::textPrimary);
    layout->addWidget(heading, 0, Qt::AlignHCenter);
    layout->addSpacing(6);
    auto* subtitle = new QLabel(u"Используй ключ из Telegram для входа"_s, column);
    subtitle->setFont(uiFont(13));
    Style::setText(subtitle, Palette::Role::textSecondary);
    layout->addWidget(subtitle, 0, Qt::AlignHCenter);
    layout->addSpacing(24);

    auto* fieldLabel = new QLabel(u"Ключ входа"_s, column);
    fieldLabel->setFont(uiFont(12, QFont::Medium));
    Style::setText(fieldLabel, Palette::Role::textSecondary);
    layout->addWidget(fieldLabel);
    layout->addSpacing(6);
    m_key = new QLineEdit(column);
    m_key->setPlaceholderText(u"vexo-tasks-..."_s);
    m_key->setAccessibleName(u"Ключ входа"_s);
    m_key->setFont(uiFont(14));
    fieldLabel->setBuddy(m_key);
    connect(m_key, &QLineEdit::returnPressed, this, &LoginView::submit);
    layout->addWidget(m_key);
    layout->addSpacing(8);
    m_error = new QLabel(column);
    m_error->setWordWrap(true);
    m_error->setFont(uiFont(12));
    Style::setText(m_error, Palette::Role::red);
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
    auto* helpTitle = new QLabel(u"Как получить ключ"_s, help);
    helpTitle->setFont(uiFont(13, QFont::DemiBold));
    Style::setText(helpTitle, Palette::Role::textPrimary);
    helpLayout->addWidget(helpTitle);
    const QStringList steps{u"Открой бот"_s, u"Введи /mykey или нажми «Мой ключ» и скопируй ключ"_s};
    for (int i = 0; i < steps.size(); ++i) {
        auto* row = new QHBoxLayout;
        row->setSpacing(10);
        auto* badge = new QLabel(QString::number(i + 1), help);
        badge->setFixedSize(20, 20);
        badge->setAlignment(Qt::AlignCenter);
        badge->setFont(uiFont(11, QFont::DemiBold));
        Style::setRole(badge, u"stepBadge"_s);
        auto* text = new QLabel(steps[i], help);
        text->setWordWrap(true);
        text->setFont(uiFont(13));
        Style::setText(text, Palette::Role::textSecondary);
        // A wrapped label in a fixed-width card must claim its wrapped height itself.
        text->setMinimumHeight(text->heightForWidth(360 - 32 - 30));
        row->addWidget(badge, 0, Qt::AlignTop);
        row->addWidget(text, 1);
        helpLayout->addLayout(row);
    }
    // The link takes the palette's link colour, which is the accent.
    auto* link = new QLabel(u"<a href=\"%1\" style=\"text-decoration: none;\">%2 →</a>"_s.arg(
                                botUrl.toHtmlEscaped(), botHandle.toHtmlEscaped()),
                            help);
    link->setFont(uiFont(13, QFont::Medium));
    link->setTextInteractionFlags(Qt::TextBrowserInteraction);
    link->setOpenExternalLinks(false);
    connect(link, &QLabel::linkActivated, this, [](const QString& url) { QDesktopServices::openUrl(QUrl(url)); });
    helpLayout->addWidget(link);
    layout->addWidget(help);

    outer->addWidget(column, 0, Qt::AlignHCenter);
    outer->addStretch();
}

void LoginView::reset() {
    // A check still running belongs to the last visit: its answer must not land on this one.
    ++m_attempt;
    m_key->setText(std::exchange(m_offeredKey, QString()));
    m_error->clear();
    m_error->hide();
    setLoading(false);
}

void LoginView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    // Each time the screen comes up (not when the window is merely restored), it starts clean.
    if (!event->spontaneous())
        reset();
    m_key->setFocus();
}

void LoginView::offerKey(const QString& key) {
    if (isVisible() && m_key->text().isEmpty() && !m_loading)
        m_key->setText(key);
    else
        m_offeredKey = key;
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
    (void)run(key, ++m_attempt);
}

QCoro::Task<void> LoginView::run(QString key, int attempt) {
    QPointer<LoginView> self(this);
    setLoading(true);
    m_error->hide();
    try {
        co_await m_onLogin(std::move(key));
    } catch (...) {
        if (!self || attempt != m_attempt)
            co_return;
        m_error->setText(AppState::describe(std::current_exception()));
        m_error->show();
    }
    if (self && attempt == m_attempt)
        setLoading(false);
}

void LoginView::setLoading(bool loading) {
    m_loading = loading;
    m_button->setText(loading ? u"Проверка..."_s : u"Войти"_s);
    m_button->setEnabled(!loading);
}
