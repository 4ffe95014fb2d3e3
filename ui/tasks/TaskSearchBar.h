#pragma once

#include <QWidget>

class QLineEdit;
class QPushButton;
class Theme;

// The list header's search: a magnifier that opens a field (as Ctrl+F does); the field narrows the
// list as it is typed in. Esc first empties the field, then closes it. Down and Return hand the
// keyboard on to the list.
class TaskSearchBar final : public QWidget {
    Q_OBJECT

public:
    explicit TaskSearchBar(Theme& theme, QWidget* parent = nullptr);

    QLineEdit* field() const { return m_field; }
    QPushButton* openButton() const { return m_open; }
    bool isOpen() const { return m_isOpen; }
    QString text() const;

    // Shows the field with the keyboard in it, its text selected.
    void open();
    // Empties the field and puts the magnifier back.
    void close();
    // Esc's two steps: an emptied field first, a closed one after.
    void escape();

Q_SIGNALS:
    void textChanged(const QString& text);
    void openChanged(bool open);
    // The keyboard leaves the field for the list (Down, Return, or Esc closing the field).
    void leaveRequested();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QPushButton* m_open;
    QLineEdit* m_field;
    bool m_isOpen = false;
};
