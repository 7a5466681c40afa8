#pragma once

// `future.then(context, f)` runs `f` at once, inside `then`, when `future` has already
// finished: a worker that beat the caller to it (common under load) turns the continuation
// into a direct call, before the lines that follow `then`, and ahead of the events the worker
// posted to `context` while it ran. Qt 6.4 also runs a continuation twice (the second time
// with a spent promise, which crashes) when it is attached while the worker is between
// reporting the future finished and running its continuation.
//
// deliveredLater() closes both gaps. The future it returns finishes as `future` did (result,
// exception or cancellation), but always from `context`'s event loop, after every event posted
// to `context` before `future` finished, and it is watched (QFutureWatcher), never continued
// from another thread. So
//
//     deliveredLater(QtConcurrent::run(work), this).then(this, f).onFailed(this, g);
//
// never runs `f` or `g` before the caller has returned to the event loop, and runs each once.
// Call it on `context`'s thread. A `context` destroyed first cancels the returned future.

#include <QFuture>
#include <QFutureWatcher>
#include <QObject>
#include <QPromise>
#include <exception>
#include <memory>
#include <type_traits>

namespace kestrava {

template <typename T>
QFuture<T> deliveredLater(QFuture<T> future, QObject* context)
{
    auto promise = std::make_shared<QPromise<T>>();
    promise->start();
    QFuture<T> delivered = promise->future();
    // Owned by `context`: gone with it, and with it the promise, which cancels `delivered`.
    auto* watcher = new QFutureWatcher<T>(context);
    QObject::connect(watcher, &QFutureWatcherBase::finished, watcher, [promise, watcher] {
        QFuture<T> done = watcher->future();
        bool failed = false;
        try {
            done.waitForFinished(); // finished already: only rethrows its exception
            if constexpr (!std::is_void_v<T>) {
                if (done.resultCount() > 0)
                    promise->addResult(done.result());
            }
        } catch (...) {
            failed = true;
            promise->setException(std::current_exception());
        }
        if (!failed && done.isCanceled() && (std::is_void_v<T> || done.resultCount() == 0))
            promise->future().cancel();
        promise->finish();
        watcher->deleteLater();
    });
    watcher->setFuture(future);
    return delivered;
}

} // namespace kestrava
