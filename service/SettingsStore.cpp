#include "SettingsStore.h"

#include <QFile>

#include <sys/stat.h>

SettingsStore::SettingsStore()
    : m_settings(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("vexo"), QStringLiteral("vexo-tasks")) {}

SettingsStore::SettingsStore(const QString& fileName)
    : m_settings(fileName, QSettings::IniFormat) {}

std::optional<QString> SettingsStore::text(const QString& key) const {
    const QVariant value = m_settings.value(key);
    if (!value.isValid())
        return std::nullopt;
    return value.toString();
}

std::optional<QByteArray> SettingsStore::data(const QString& key) const {
    const QVariant value = m_settings.value(key);
    if (!value.isValid())
        return std::nullopt;
    return value.toByteArray();
}

void SettingsStore::setText(const QString& key, const QString& value) {
    m_settings.setValue(key, value);
    persist();
}

void SettingsStore::setData(const QString& key, const QByteArray& value) {
    m_settings.setValue(key, value);
    persist();
}

void SettingsStore::remove(const QString& key) {
    m_settings.remove(key);
    persist();
}

void SettingsStore::persist() {
    m_settings.sync();
    // QSettings writes with the umask's mode and replaces the file on every sync, so the mode is
    // set again each time.
    const QByteArray path = QFile::encodeName(m_settings.fileName());
    ::chmod(path.constData(), S_IRUSR | S_IWUSR);
}
