#pragma once

#include "KeyValueStore.h"

#include <QSettings>

// KeyValueStore over an INI file through QSettings. The file holds the session token, so it is kept
// readable by its owner only, whatever the umask.
class SettingsStore final : public KeyValueStore {
public:
    // The platform's per-user location for this application.
    SettingsStore();
    // An explicit file, for tests and portable set-ups.
    explicit SettingsStore(const QString& fileName);

    std::optional<QString> text(const QString& key) const override;
    std::optional<QByteArray> data(const QString& key) const override;
    void setText(const QString& key, const QString& value) override;
    void setData(const QString& key, const QByteArray& value) override;
    void remove(const QString& key) override;

    QString fileName() const { return m_settings.fileName(); }

private:
    void persist();

    mutable QSettings m_settings;
};
