#include "PortalColorScheme.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>

using namespace Qt::StringLiterals;

namespace {

const QString service = u"org.freedesktop.portal.Desktop"_s;
const QString path = u"/org/freedesktop/portal/desktop"_s;
const QString interface = u"org.freedesktop.portal.Settings"_s;
const QString group = u"org.freedesktop.appearance"_s;
const QString key = u"color-scheme"_s;

QDBusMessage readMessage() {
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, u"Read"_s);
    message << group << key;
    return message;
}

} // namespace

PortalColorScheme::PortalColorScheme(QDBusConnection bus, QObject* parent)
    : QObject(parent)
    , m_bus(std::move(bus)) {
    if (m_bus.isConnected())
        m_bus.connect(service, path, interface, u"SettingChanged"_s, this,
                      SLOT(onSettingChanged(QString, QString, QDBusVariant)));
}

std::optional<bool> PortalColorScheme::schemeFrom(const QVariant& value) {
    QVariant inner = value;
    // The portal's Read wraps the value in a variant of a variant; QtDBus may hand either form over
    // as a QDBusVariant or as a QDBusArgument holding one.
    for (int depth = 0; depth < 4; ++depth) {
        if (inner.canConvert<QDBusVariant>() && inner.userType() == qMetaTypeId<QDBusVariant>()) {
            inner = qvariant_cast<QDBusVariant>(inner).variant();
        } else if (inner.userType() == qMetaTypeId<QDBusArgument>()) {
            const QDBusArgument argument = qvariant_cast<QDBusArgument>(inner);
            if (argument.currentType() != QDBusArgument::VariantType)
                return std::nullopt;
            inner = argument.asVariant();
        } else {
            break;
        }
    }
    if (inner.typeId() != QMetaType::UInt)
        return std::nullopt;
    switch (inner.toUInt()) {
    case 1:
        return true;
    case 2:
        return false;
    default:
        return std::nullopt;
    }
}

void PortalColorScheme::readNow(int timeoutMs) {
    if (!m_bus.isConnected())
        return;
    const QDBusMessage reply = m_bus.call(readMessage(), QDBus::Block, timeoutMs);
    if (reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty())
        take(schemeFrom(reply.arguments().first()));
}

void PortalColorScheme::read() {
    if (!m_bus.isConnected())
        return;
    auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(readMessage()), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* call) {
        call->deleteLater();
        const QDBusMessage reply = call->reply();
        if (reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty())
            take(schemeFrom(reply.arguments().first()));
    });
}

void PortalColorScheme::onSettingChanged(const QString& changedGroup, const QString& changedKey,
                                         const QDBusVariant& value) {
    if (changedGroup == group && changedKey == key)
        take(schemeFrom(value.variant()));
}

void PortalColorScheme::take(std::optional<bool> prefersDark) {
    if (prefersDark == m_prefersDark)
        return;
    m_prefersDark = prefersDark;
    Q_EMIT changed();
}
