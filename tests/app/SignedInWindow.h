#pragma once

#include "AppState.h"
#include "ChangeFeed.h"
#include "ClientRig.h"
#include "ContentView.h"
#include "LiveRefresh.h"
#include "MainView.h"
#include "ManualTimers.h"
#include "ScriptedServer.h"
#include "SidebarView.h"
#include "TaskListView.h"
#include "Theme.h"

#include <QPushButton>
#include <QTest>

#include <memory>

// The signed-in window wired as the application wires it (the background refresh included, so the
// header has its refresh button), against a scripted service with two tasks and two folders.
class SignedInWindow final {
public:
    explicit SignedInWindow(ScriptedServer& server) {
        server.setReplyFor("/api/events", ScriptedReply::json(404, R"({"error":"Not found"})"));
        server.setReplyFor("/api/tasks",
                           ScriptedReply::json(200, R"({"tasks":[)"
                                                    R"({"id":1,"title":"Купить молоко","priority":"high",)"
                                                    R"("status":"pending","created_at":"2025-03-01"},)"
                                                    R"({"id":2,"title":"Позвонить маме","priority":"low",)"
                                                    R"("status":"pending","created_at":"2025-03-02"}]})"));
        server.setReplyFor("/api/folders",
                           ScriptedReply::json(200, R"({"folders":[{"id":7,"name":"Дом","color":"#56B86E"},)"
                                                    R"({"id":8,"name":"Работа","color":"#5B8AE8"}]})"));
        server.setReplyFor("/api/user/settings", ScriptedReply::json(200, R"({"auto_send_bot":true})"));
        client = std::make_unique<ClientRig>(server.baseUrl(), clock, QStringLiteral("t"));
        feed = std::make_unique<ChangeFeed>(server.baseUrl(), client->network);
        timers = std::make_unique<ManualTimers>(clock);
        live = std::make_unique<LiveRefresh>(client->state, feed.get(), *timers, clock);
        theme = std::make_unique<Theme>(client->store);
        theme->apply();
        window = std::make_unique<ContentView>(client->state, *theme);
        window->mainView()->setLiveRefresh(*live);
        window->resize(1100, 720);
    }

    ~SignedInWindow() {
        window.reset();
        live.reset();
        feed.reset();
        timers.reset();
        client.reset();
    }

    // Shows the window and waits for the list and the folders, on screen.
    bool showLoaded() {
        window->show();
        window->activateWindow();
        if (!QTest::qWaitForWindowActive(window.get()))
            return false;
        return QTest::qWaitFor(
            [this] {
                const QList<QPushButton*> folders = main()->sidebar()->folderButtons();
                return client->state.tasks().size() == 2 && folders.size() == 2 && folders[0]->isVisible() &&
                       folders[1]->isVisible() && main()->taskList()->contentState() == QStringLiteral("list") &&
                       live->feedState() == LiveRefresh::FeedState::unavailable;
            },
            10000);
    }

    MainView* main() const { return window->mainView(); }

    FixedClock clock{QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC)};
    std::unique_ptr<ClientRig> client;
    std::unique_ptr<ChangeFeed> feed;
    std::unique_ptr<ManualTimers> timers;
    std::unique_ptr<LiveRefresh> live;
    std::unique_ptr<Theme> theme;
    std::unique_ptr<ContentView> window;
};
