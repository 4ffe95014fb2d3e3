#pragma once

#include "Palette.h"

#include <QObject>
#include <QPalette>

#include <optional>

class KeyValueStore;

// The chosen appearance ("system", "dark" or "light", kept under "vexo_theme"; "dark" when unset)
// and the palette it gives. Applying it restyles the whole application at once; "system" follows the
// desktop's colour scheme as it changes.
class Theme final : public QObject {
    Q_OBJECT

public:
    explicit Theme(KeyValueStore& store, QObject* parent = nullptr);

    QString preference() const { return m_preference; }
    void setPreference(const QString& preference);
    const Palette& palette() const { return m_dark ? Palette::darkPalette() : Palette::lightPalette(); }
    bool isDark() const { return m_dark; }
    // The desktop's own scheme when it states one (true: dark); "system" follows it before the palette.
    void setDesktopScheme(std::optional<bool> prefersDark);

    // Applies the palette and style sheet to the application; called on start and on every change.
    void apply();

Q_SIGNALS:
    void changed();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool systemIsDark() const;
    void update();

    KeyValueStore& m_store;
    QString m_preference;
    bool m_dark = true;
    QPalette m_systemPalette;
    std::optional<bool> m_desktopPrefersDark;
    bool m_applying = false;
};
