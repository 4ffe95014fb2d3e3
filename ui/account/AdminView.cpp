#include "AdminView.h"

#include "AppState.h"
#include "Badge.h"
#include "BusyIndicator.h"
#include "Fonts.h"
#include "IconView.h"
#include "ScrollPage.h"
#include "StatCard.h"
#include "Style.h"
#include "Theme.h"
#include "VexoCard.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QScrollArea>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

QLabel* textLabel(const QString& text, int size, QFont::Weight weight, Palette::Role role, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setFont(uiFont(size, weight));
    Style::setText(label, role);
    return label;
}

} // namespace

AdminView::AdminView(AppState& state, Theme& theme, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_theme(theme) {
    setMinimumWidth(420);
    QVBoxLayout* layout = addScrollPage(this, 12);
    QWidget* page = layout->parentWidget();
    layout->addWidget(textLabel(u"Панель администратора"_s, 20, QFont::Bold, Palette::Role::textPrimary, page));
    layout->addWidget(
        textLabel(u"Управление пользователями и задачами"_s, 13, QFont::Normal, Palette::Role::textSecondary, page));
    m_busy = new BusyIndicator(theme, 18, page);
    layout->addWidget(m_busy);
    m_errorRow = new QWidget(page);
    auto* errorLayout = new QHBoxLayout(m_errorRow);
    errorLayout->setContentsMargins(0, 0, 0, 0);
    errorLayout->setSpacing(6);
    m_errorIcon = new IconView(theme, u"exclamationmark.triangle"_s, 14, Palette::Role::red, m_errorRow);
    errorLayout->addWidget(m_errorIcon, 0, Qt::AlignTop);
    m_errorLabel = textLabel(QString(), 13, QFont::Normal, Palette::Role::red, m_errorRow);
    m_errorLabel->setWordWrap(true);
    errorLayout->addWidget(m_errorLabel, 1);
    layout->addWidget(m_errorRow);
    auto* cards = new QHBoxLayout;
    cards->setSpacing(10);
    m_cards << new StatCard(theme, u"person.2"_s, u"Пользователей"_s, StatCard::ValueRole::primary, page)
            << new StatCard(theme, u"square.stack.3d.up"_s, u"Всего задач"_s, StatCard::ValueRole::primary, page)
            << new StatCard(theme, u"flame"_s, u"Активных"_s, StatCard::ValueRole::accent, page)
            << new StatCard(theme, u"checkmark.circle"_s, u"Выполнено"_s, StatCard::ValueRole::green, page);
    for (StatCard* card : m_cards)
        cards->addWidget(card);
    layout->addLayout(cards);
    layout->addWidget(textLabel(u"Пользователи"_s, 14, QFont::DemiBold, Palette::Role::textPrimary, page));
    m_rows = new QVBoxLayout;
    m_rows->setSpacing(6);
    layout->addLayout(m_rows);
    layout->addStretch();
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
    m_busy->setVisible(m_loading);
    m_errorRow->setVisible(m_error.has_value());
    m_errorLabel->setText(m_error.value_or(QString()));
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
        m_rows->addWidget(textLabel(u"Нет данных"_s, 13, QFont::Normal, Palette::Role::textTertiary, nullptr));
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
        nameRow->addWidget(textLabel(user.displayName(), 14, QFont::Medium, Palette::Role::textPrimary, card));
        if (user.isAdmin == true)
            nameRow->addWidget(new Badge(m_theme, u"admin"_s, QString(), Palette::Role::accent, 10, card));
        nameRow->addStretch();
        names->addLayout(nameRow);
        if (user.username)
            names->addWidget(textLabel(*user.username, 12, QFont::Normal, Palette::Role::textTertiary, card));
        row->addLayout(names, 1);
        auto* counts = new QVBoxLayout;
        counts->setSpacing(0);
        const QString count =
            user.taskCount ? QString::asprintf("%lld", static_cast<long long>(*user.taskCount)) : u"—"_s;
        auto* number = textLabel(count, 16, QFont::DemiBold, Palette::Role::textPrimary, card);
        number->setAlignment(Qt::AlignRight);
        auto* word = textLabel(u"задач"_s, 10, QFont::Normal, Palette::Role::textTertiary, card);
        word->setAlignment(Qt::AlignRight);
        counts->addWidget(number);
        counts->addWidget(word);
        row->addLayout(counts);
        m_rows->addWidget(card);
        m_rowTexts << user.displayName() + u'|' + user.username.value_or(QString()) + u'|' + count + u'|' +
                          (user.isAdmin == true ? u"admin"_s : QString());
    }
}
