#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QVariant>

#include <optional>

class QDBusVariant;

// The desktop's colour scheme as the XDG desktop portal tells it (org.freedesktop.appearance
// color-scheme), read at start and followed while the client runs. Without a portal, or when the
// desktop states no preference, there is no answer and the caller keeps to the start-up palette.
class PortalColorScheme final : public QObject {
    Q_OBJECT

public:
    explicit PortalColorScheme(QDBusConnection bus, QObject* parent = nullptr);

    // True for dark, false for light, empty for no preference or no portal.
    std::optional<bool> prefersDark() const { return m_prefersDark; }

    // Asks the portal and waits at most `timeoutMs` for the answer, so the first frame already has
    // the desktop's scheme.
    void readNow(int timeoutMs);
    // Asks without waiting; the answer comes through changed().
    void read();

    // The scheme in a Read reply or a SettingChanged value: an unsigned number, possibly wrapped in
    // one or more variants. 1 is dark, 2 light, 0 (and anything else) no preference.
    static std::optional<bool> schemeFrom(const QVariant& value);

Q_SIGNALS:
    void changed();

private Q_SLOTS:
    // QtDBus delivers signals to slots named by their signature; hence a slot and not a functor.
    void onSettingChanged(const QString& group, const QString& key, const QDBusVariant& value);

private:
    void take(std::optional<bool> prefersDark);

    QDBusConnection m_bus;
    std::optional<bool> m_prefersDark;
};
