#include "StaleNotice.h"

#include "Fonts.h"
#include "IconView.h"
#include "LiveRefresh.h"
#include "Style.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

using namespace Qt::StringLiterals;

StaleNotice::StaleNotice(LiveRefresh& live, const Theme& theme, QWidget* parent)
    : QWidget(parent)
    , m_live(live) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(20, 0, 20, 0);
    layout->setSpacing(6);
    layout->addWidget(new IconView(theme, u"exclamationmark.triangle"_s, 12, Palette::Role::textTertiary, this));
    m_text = new QLabel(this);
    m_text->setFont(uiFont(12));
    Style::setText(m_text, Palette::Role::textTertiary);
    layout->addWidget(m_text);
    m_retry = new QPushButton(u"Повторить"_s, this);
    m_retry->setFont(uiFont(12, QFont::Medium));
    m_retry->setCursor(Qt::PointingHandCursor);
    m_retry->setAutoDefault(false);
    Style::setRole(m_retry, u"plain"_s);
    connect(m_retry, &QPushButton::clicked, &m_live, &LiveRefresh::refreshNow);
    layout->addWidget(m_retry);
    layout->addStretch();
    connect(&m_live, &LiveRefresh::staleChanged, this, &StaleNotice::follow);
    follow();
}

QString StaleNotice::message(const std::optional<QDateTime>& lastSuccess) {
    QString text = u"Нет связи с сервисом"_s;
    if (lastSuccess)
        text += u" · обновлено в "_s + lastSuccess->toLocalTime().toString(u"HH:mm"_s);
    return text;
}

QString StaleNotice::text() const {
    return m_text->text();
}

void StaleNotice::follow() {
    m_text->setText(message(m_live.lastSuccess()));
    setVisible(m_live.isStale());
}
