#pragma once

#include <QCoroTask>
#include <QWidget>

#include <functional>

class QLabel;
class QLineEdit;
class Theme;
class VexoButton;

// The sign-in screen: the key from the Telegram bot goes in, the state's login is awaited, and a
// refusal shows the service's own words under the field.
class LoginView final : public QWidget {
    Q_OBJECT

public:
    using LoginAction = std::function<QCoro::Task<void>(QString)>;

    LoginView(Theme& theme, LoginAction onLogin, QWidget* parent = nullptr);

    QLineEdit* keyField() const { return m_key; }
    VexoButton* loginButton() const { return m_button; }
    QString errorText() const;
    bool isLoading() const { return m_loading; }

    void submit();
    // The screen as it first appears: an empty field (or the offered key), no error, not checking.
    void reset();
    // A key to put in the field for the user (the demo key of a local run): now, when the field is on
    // screen and empty, else the next time the screen comes up. Offered once.
    void offerKey(const QString& key);

protected:
    void showEvent(QShowEvent* event) override;

private:
    QCoro::Task<void> run(QString key, int attempt);
    void setLoading(bool loading);

    LoginAction m_onLogin;
    QLineEdit* m_key;
    QLabel* m_error;
    VexoButton* m_button;
    QString m_offeredKey;
    bool m_loading = false;
    int m_attempt = 0;
};
