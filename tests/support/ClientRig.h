#pragma once

#include "APIService.h"
#include "AppState.h"
#include "MemoryStore.h"

#include <QNetworkAccessManager>

#include <optional>

// The client's own objects wired as the application wires them, against one service address: a
// store of the test's own (optionally holding a session token), one network manager, the service
// client and the state.
class ClientRig final {
public:
    ClientRig(const QString& base, const Clock& clock, std::optional<QString> token = std::nullopt)
        : store(storeWith(std::move(token)))
        , api(base, network, store)
        , state(api, store, clock) {}
    ClientRig(const ClientRig&) = delete;
    ClientRig& operator=(const ClientRig&) = delete;
    // Loads a test left running end here, while the state they report to still exists.
    ~ClientRig() { api.abortPending(); }

    QNetworkAccessManager network;
    MemoryStore store;
    APIService api;
    AppState state;

private:
    static MemoryStore storeWith(std::optional<QString> token) {
        MemoryStore store;
        if (token)
            store.setText(QStringLiteral("vexo_token"), *token);
        return store;
    }
};
