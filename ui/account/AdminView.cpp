#include "AdminView.h"

#include "AppState.h"
#include "BusyIndicator.h"
#include "Fonts.h"
#include "Icons.h"
#include "ScrollPage.h"
#include "StatCard.h"
#include "Theme.h"
#include "VexoCard.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QScrollArea>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

AdminView::AdminView(AppState& state, Theme& theme, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_theme(theme) {
    setMinimumWidth(420);
    QVBoxLayout* layout = addScrollPage(this, 12);
    QWidget* page = layout->parentWidget();
    m_title = new QLabel(u"Панель администратора"_s, page);
    m_title->setFont(uiFont(20, QFont::Bold));
    layout->addWidget(m_title);
    m_subtitle = new QLabel(u"Управление пользователями и задачами"_s, page);
    m_subtitle->setFont(uiFont(13));
    layout->addWidget(m_subtitle);
    m_busy = new BusyIndicator(theme, 18, page);
    layout->addWidget(m_busy);
    m_errorLabel = new QLabel(page);
    m_errorLabel->setWordWrap(true);
    m_errorLabel->setFont(uiFont(13));
    layout->addWidget(m_errorLabel);
    auto* cards = new QHBoxLayout;
    cards->setSpacing(10);
    m_cards << new StatCard(theme, u"person.2"_s, u"Пользователей"_s, StatCard::ValueRole::primary, page)
            << new StatCard(theme, u"square.stack.3d.up"_s, u"Всего задач"_s, StatCard::ValueRole::primary, page)
            << new StatCard(theme, u"flame"_s, u"Активных"_s, StatCard::ValueRole::accent, page)
            << new StatCard(theme, u"checkmark.circle"_s, u"Выполнено"_s, StatCard::ValueRole::green, page);
    for (StatCard* card : m_cards)
        cards->addWidget(card);
    layout->addLayout(cards);
    m_usersTitle = new QLabel(u"Пользователи"_s, page);
    m_usersTitle->setFont(uiFont(14, QFont::DemiBold));
    layout->addWidget(m_usersTitle);
    m_rows = new QVBoxLayout;
    m_rows->setSpacing(6);
    layout->addLayout(m_rows);
    layout->addStretch();
    connect(&m_theme, &Theme::changed, this, &AdminView::refresh);
    refresh();
}

void AdminView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    (void)load();
}

QCoro::Task<void> AdminView::load() {
    QPointer<AdminView> self(this);
    m_loading = true;
    m_error.reset();
    refresh();
    try {
        // Side by side; the screen shows the data only when both have arrived.
        auto statsRequest = m_state.api().fetchAdminStats();
        auto usersRequest = m_state.api().fetchAdminUsers();
        const AdminStats stats = co_await std::move(statsRequest);
        const auto users = co_await std::move(usersRequest);
        if (!self)
            co_return;
        m_stats = stats;
        m_users = users.users;
    } catch (...) {
        if (!self)
            co_return;
        m_error = u"Ошибка загрузки: "_s + AppState::describe(std::current_exception());
    }
    m_loading = false;
    refresh();
}

QString AdminView::errorText() const {
    return m_error.value_or(QString());
}

QStringList AdminView::cardValues() const {
    QStringList values;
    for (StatCard* card : m_cards)
        values << card->value();
    return values;
}

QStringList AdminView::userRows() const {
    return m_rowTexts;
}

void AdminView::refresh() {
    const Palette& p = m_theme.palette();
    m_title->setStyleSheet(u"color: %1;"_s.arg(p.textPrimary.name()));
    m_subtitle->setStyleSheet(u"color: %1;"_s.arg(p.textSecondary.name()));
    m_usersTitle->setStyleSheet(u"color: %1;"_s.arg(p.textPrimary.name()));
    m_busy->setVisible(m_loading);
    m_errorLabel->setVisible(m_error.has_value());
    m_errorLabel->setText(m_error.value_or(QString()));
    m_errorLabel->setStyleSheet(u"color: %1;"_s.arg(p.red.name()));
    const qint64 values[] = {m_stats ? m_stats->totalUsers : -1, m_stats ? m_stats->totalTasks : -1,
                             m_stats ? m_stats->activeTasks : -1, m_stats ? m_stats->completedTasks : -1};
    for (int i = 0; i < 4; ++i)
        m_cards[i]->setValue(values[i] < 0 ? u"—"_s : QString::number(values[i]));

    while (QLayoutItem* item = m_rows->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    m_rowTexts.clear();
    if (m_users.isEmpty()) {
        auto* empty = new QLabel(u"Нет данных"_s);
        empty->setFont(uiFont(13));
        empty->setStyleSheet(u"color: %1;"_s.arg(p.textTertiary.name()));
        m_rows->addWidget(empty);
        return;
    }
    for (const AdminUser& user : std::as_const(m_users)) {
        auto* card = new VexoCard(m_theme);
        auto* row = new QHBoxLayout(card);
        row->setContentsMargins(14, 10, 14, 10);
        auto* names = new QVBoxLayout;
        names->setSpacing(2);
        auto* nameRow = new QHBoxLayout;
        nameRow->setSpacing(6);
        auto* name = new QLabel(user.displayName(), card);
        name->setFont(uiFont(14, QFont::Medium));
        name->setStyleSheet(u"color: %1;"_s.arg(p.textPrimary.name()));
        nameRow->addWidget(name);
        if (user.isAdmin == true) {
            QColor ground = p.accent;
            ground.setAlphaF(0.12);
            auto* badge = new QLabel(u"admin"_s, card);
            badge->setFont(uiFont(10, QFont::DemiBold));
            badge->setStyleSheet(u"color: %1; background: %2; border-radius: 6px; padding: 1px 6px;"_s.arg(
                p.accent.name(), ground.name(QColor::HexArgb)));
            nameRow->addWidget(badge);
        }
        nameRow->addStretch();
        names->addLayout(nameRow);
        if (user.username) {
            auto* username = new QLabel(*user.username, card);
            username->setFont(uiFont(12));
            username->setStyleSheet(u"color: %1;"_s.arg(p.textTertiary.name()));
            names->addWidget(username);
        }
        row->addLayout(names, 1);
        auto* counts = new QVBoxLayout;
        counts->setSpacing(0);
        const QString count =
            user.taskCount ? QString::asprintf("%lld", static_cast<long long>(*user.taskCount)) : u"—"_s;
        auto* number = new QLabel(count, card);
        number->setFont(uiFont(16, QFont::DemiBold));
        number->setAlignment(Qt::AlignRight);
        number->setStyleSheet(u"color: %1;"_s.arg(p.textPrimary.name()));
        auto* word = new QLabel(u"задач"_s, card);
        word->setFont(uiFont(10));
        word->setAlignment(Qt::AlignRight);
        word->setStyleSheet(u"color: %1;"_s.arg(p.textTertiary.name()));
        counts->addWidget(number);
        counts->addWidget(word);
        row->addLayout(counts);
        m_rows->addWidget(card);
        m_rowTexts << user.displayName() + u'|' + user.username.value_or(QString()) + u'|' + count + u'|' +
                          (user.isAdmin == true ? u"admin"_s : QString());
    }
}
