#pragma once

#include "Folder.h"

#include <QWidget>

#include <functional>
#include <optional>

class AppState;
class QAbstractButton;
class QLabel;
class QLineEdit;
class QPushButton;
class Theme;

// The small sheet that creates a folder, or renames and recolours one.
class FolderEditView final : public QWidget {
    Q_OBJECT

public:
    static const QStringList& colors();

    FolderEditView(AppState& state, Theme& theme, std::optional<Folder> editingFolder, std::function<void()> dismiss,
                   QWidget* parent = nullptr);

    QLineEdit* nameField() const { return m_name; }
    QString selectedColor() const { return m_selectedColor; }
    // The swatch drawn with a ring, or empty when the colour is none of the eight.
    QString ringedColor() const;
    void chooseColor(const QString& color);
    QPushButton* confirmButton() const { return m_confirm; }
    void confirm();

private:
    void refresh();

    AppState& m_state;
    Theme& m_theme;
    std::optional<Folder> m_folder;
    std::function<void()> m_dismiss;
    QString m_selectedColor;
    QLabel* m_title;
    QLabel* m_colorLabel;
    QLineEdit* m_name;
    QList<QAbstractButton*> m_swatches;
    QPushButton* m_confirm;
};
