#pragma once

#include <QCoroFuture>
#include <QFuture>
#include <QPromise>
#include <QThreadPool>
#include <QtGlobal>

#if defined(Q_OS_LINUX)
#include <sys/resource.h>
#include <unistd.h>
#endif

#include <exception>
#include <memory>
#include <type_traits>

// Puts the calling pooled thread below the event loop's in the scheduler's eyes, once: on a busy
// machine a decode that takes its time is better than a frame that waits for a core.
inline void yieldToTheEventLoop() {
#if defined(Q_OS_LINUX)
    thread_local bool lowered = false;
    if (!lowered) {
        lowered = true;
        setpriority(PRIO_PROCESS, id_t(gettid()), 10);
    }
#endif
}

// Runs `work` on a pooled thread. Awaited (QCoro), the future resumes the coroutine on its own
// thread with what `work` returned, or throws there what `work` threw. For plain computations that
// would hold the event loop up for longer than a frame (decoding a long answer); `work` must touch
// no QObject. A future rather than a task: the exception reaches the awaiting frame directly.
template <class Work> QFuture<std::invoke_result_t<Work&>> onWorkerThread(Work work) {
    using Result = std::invoke_result_t<Work&>;
    auto promise = std::make_shared<QPromise<Result>>();
    QFuture<Result> future = promise->future();
    promise->start();
    QThreadPool::globalInstance()->start([promise, work = std::move(work)]() mutable {
        yieldToTheEventLoop();
        try {
            promise->addResult(work());
        } catch (...) {
            promise->setException(std::current_exception());
        }
        promise->finish();
    });
    return future;
}

// After awaiting a future of onWorkerThread(): drops the future's own copy of the result, which
// would otherwise be freed later on this thread, when the future goes (for a long list, the last
// copy, and many frees).
template <class T> void dropStoredResult(QFuture<T> future) {
    if (future.isValid() && future.resultCount() > 0)
        (void)future.takeResult();
}
