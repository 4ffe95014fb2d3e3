#pragma once

#include <QCoroTask>
#include <QTimer>
#include <QWidget>

#include <functional>

class AppState;
class QLabel;
class QPlainTextEdit;
class Theme;
class VexoButton;

// The personal API key: shown, copied, regenerated after confirmation, with a ready curl example
// and the link to the service's documentation.
class APIKeyView final : public QWidget {
    Q_OBJECT

public:
    // Asks the user to confirm regenerating; a seam so tests can answer.
    using Confirm = std::function<bool(QWidget*)>;

    APIKeyView(AppState& state, Theme& theme, std::function<void()> dismiss, QWidget* parent = nullptr);

    void setConfirm(Confirm confirm) { m_confirm = std::move(confirm); }
    // The four-line command with the service address and the key, or "vexoapi-..." without one.
    static QString exampleCommand(const QString& base, const QString& key);
    QString example() const;
    QString keyText() const;
    VexoButton* copyButton() const { return m_copy; }
    VexoButton* regenerateButton() const { return m_regenerate; }
    bool isCopied() const { return m_copied; }
    void copy();
    void regenerate();

    static constexpr int copiedMs = 2000;

private:
    QCoro::Task<void> runRegenerate();
    void refresh();

    AppState& m_state;
    Theme& m_theme;
    std::function<void()> m_dismiss;
    Confirm m_confirm;
    bool m_copied = false;
    bool m_regenerating = false;
    QTimer m_copiedTimer;
    QLabel* m_key;
    VexoButton* m_copy;
    VexoButton* m_regenerate;
    QPlainTextEdit* m_example;
    VexoButton* m_docs;
    VexoButton* m_close;
};
