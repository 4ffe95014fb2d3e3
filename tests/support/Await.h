#pragma once

#include <QCoroTask>
#include <QEventLoop>

#include <exception>
#include <optional>

// Runs a task to completion in a nested event loop and hands back its value or rethrows its
// exception. QCoro::waitFor would never return when the task throws.
namespace vexo::test {

namespace detail {

template <class T>
QCoro::Task<void> settle(QCoro::Task<T> task, std::optional<T>& result, std::exception_ptr& error, QEventLoop& loop,
                         bool& done) {
    try {
        result.emplace(co_await std::move(task));
    } catch (...) {
        error = std::current_exception();
    }
    done = true;
    loop.quit();
}

inline QCoro::Task<void> settle(QCoro::Task<void> task, std::exception_ptr& error, QEventLoop& loop, bool& done) {
    try {
        co_await std::move(task);
    } catch (...) {
        error = std::current_exception();
    }
    done = true;
    loop.quit();
}

} // namespace detail

template <class T> T await(QCoro::Task<T> task) {
    QEventLoop loop;
    std::exception_ptr error;
    bool done = false;
    if constexpr (std::is_void_v<T>) {
        auto runner = detail::settle(std::move(task), error, loop, done);
        if (!done)
            loop.exec();
        if (error)
            std::rethrow_exception(error);
    } else {
        std::optional<T> result;
        auto runner = detail::settle(std::move(task), result, error, loop, done);
        if (!done)
            loop.exec();
        if (error)
            std::rethrow_exception(error);
        return std::move(*result);
    }
}

} // namespace vexo::test
