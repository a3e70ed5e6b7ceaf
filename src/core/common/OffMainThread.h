#pragma once

#include <QMetaObject>
#include <QObject>
#include <QPointer>
#include <QThreadPool>

#include <utility>

// Runs `work` on the thread pool and `then` with its result on `context`'s thread. When
// `context` is gone by then, `then` is dropped, not run.
template <typename Work, typename Then> void offMainThread(QObject *context, Work work, Then then)
{
    QThreadPool::globalInstance()->start([context = QPointer<QObject>(context), work = std::move(work),
                                             then = std::move(then)]() mutable {
        auto result = work();
        if (!context)
            return;
        QMetaObject::invokeMethod(
            context.data(), [then = std::move(then), result = std::move(result)]() mutable { then(std::move(result)); },
            Qt::QueuedConnection);
    });
}
