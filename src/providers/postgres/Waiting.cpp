// SPDX-License-Identifier: MIT
#include "providers/postgres/Waiting_p.h"

#include "core/BusyCursor.h"

#include <QByteArrayView>

#include <algorithm>
#include <cstdlib>
#include <system_error>
#include <thread>

#include <poll.h>

namespace Brennvox10::data::postgres {

namespace {

// Short enough that Esc and repaints feel immediate, long enough to cost nothing.
constexpr auto slice = std::chrono::milliseconds(50);
constexpr int maxPendingCancels = 4;

std::atomic<int> pendingCancels { 0 };

// Waits up to a slice (less when the deadline is nearer) for the socket; true when it is ready or
// has failed, which libpq then tells.
bool pollSocket(int socket, short events, const Waiter &waiter)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(waiter.deadline - Clock::now());
    const auto wait = std::clamp(left, std::chrono::milliseconds(1), std::chrono::milliseconds(slice));
    pollfd watched { socket, events, 0 };
    return ::poll(&watched, 1, int(wait.count())) > 0;
}

} // namespace

WaitEnd checkWaiter(const Waiter &waiter)
{
    if (waiter.userInterface) {
        busy::tickWaiting();
        if (busy::cancelRequested())
            return WaitEnd::Cancelled;
    }
    if (waiter.cancel && waiter.cancel->load(std::memory_order_relaxed))
        return WaitEnd::Cancelled;
    if (waiter.stop && waiter.stop->load(std::memory_order_acquire))
        return WaitEnd::Stopped;
    if (Clock::now() >= waiter.deadline)
        return WaitEnd::Late;
    return WaitEnd::Ready;
}

WaitEnd awaitConnection(PGconn *db, const Waiter &waiter)
{
    PostgresPollingStatusType polled = PGRES_POLLING_WRITING;
    while (polled != PGRES_POLLING_OK && polled != PGRES_POLLING_FAILED) {
        if (const WaitEnd end = checkWaiter(waiter); end != WaitEnd::Ready)
            return end;
        // The socket changes when libpq moves on to the server's next address.
        const int socket = PQsocket(db);
        if (socket < 0)
            break;
        if (pollSocket(socket, polled == PGRES_POLLING_READING ? POLLIN : POLLOUT, waiter))
            polled = PQconnectPoll(db);
    }
    return WaitEnd::Ready;
}

WaitEnd awaitResult(PGconn *db, const Waiter &waiter)
{
    for (;;) {
        const int unsent = PQflush(db);
        if (unsent < 0 || (unsent == 0 && !PQisBusy(db)))
            return WaitEnd::Ready;
        if (const WaitEnd end = checkWaiter(waiter); end != WaitEnd::Ready)
            return end;
        const int socket = PQsocket(db);
        if (socket < 0)
            return WaitEnd::Ready;
        if (pollSocket(socket, short(POLLIN | (unsent ? POLLOUT : 0)), waiter) && !PQconsumeInput(db))
            return WaitEnd::Ready;
    }
}

Result awaitNext(PGconn *db, const Waiter &waiter, WaitEnd &end)
{
    end = awaitResult(db, waiter);
    return end == WaitEnd::Ready ? Result(PQgetResult(db)) : Result();
}

void cancelAside(PGconn *db)
{
    if (pendingCancels.fetch_add(1) >= maxPendingCancels) {
        pendingCancels.fetch_sub(1);
        return;
    }
    PGcancel *request = PQgetCancel(db);
    try {
        if (request) {
            std::thread([request] {
                char error[256];
                PQcancel(request, error, sizeof error);
                PQfreeCancel(request);
                pendingCancels.fetch_sub(1);
            }).detach();
            return;
        }
    } catch (const std::system_error &) {
        PQfreeCancel(request);
    }
    pendingCancels.fetch_sub(1);
}

Clock::time_point connectDeadline(PGconn *db, Clock::time_point start)
{
    long seconds = 0;
    PQconninfoOption *options = PQconninfo(db);
    for (const PQconninfoOption *o = options; o && o->keyword; ++o) {
        if (QByteArrayView(o->keyword) == "connect_timeout" && o->val)
            seconds = std::strtol(o->val, nullptr, 10);
    }
    PQconninfoFree(options);
    // libpq waits forever for 0 and at least two seconds otherwise.
    if (seconds <= 0)
        return Clock::time_point::max();
    return start + std::chrono::seconds(std::max(seconds, 2L));
}

} // namespace Brennvox10::data::postgres
