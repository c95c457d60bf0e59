// SPDX-License-Identifier: MIT
#include "sql/cursor/Cursor.h"

#include <Brennvox10/QueryObserver.h>

#include <QMutex>

Q_LOGGING_CATEGORY(lcData, "brennvox.data")

namespace Brennvox10 {

namespace {

QBasicMutex observerMutex;

std::function<void(const QString &)> &queryObserver()
{
    static std::function<void(const QString &)> observer;
    return observer;
}

} // namespace

void setQueryObserver(std::function<void(const QString &sql)> observer)
{
    QMutexLocker locker(&observerMutex);
    queryObserver() = std::move(observer);
}

namespace data {

void notifyObserver(const QString &sql)
{
    // Called outside the lock: an observer may set another observer.
    std::function<void(const QString &)> observer;
    {
        QMutexLocker locker(&observerMutex);
        observer = queryObserver();
    }
    if (observer)
        observer(sql);
}

} // namespace data
} // namespace Brennvox10
