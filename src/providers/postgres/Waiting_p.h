// SPDX-License-Identifier: MIT
#pragma once
// Waiting on the server by the client's clock. Every wait watches the connection's socket in short
// slices, so that a server that stops answering (stopped, overloaded, cut off) holds no one past the
// deadline, and the user-interface thread keeps the window alive and hears Esc meanwhile. Only the
// non-blocking side of libpq is used here: nothing waits inside libpq itself.

#include <libpq-fe.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>

namespace Brennvox10::data::postgres {

using Clock = std::chrono::steady_clock;

struct ConnectionCloser {
    void operator()(PGconn *connection) const { PQfinish(connection); }
};
struct ResultClearer {
    void operator()(PGresult *result) const { PQclear(result); }
};
using Connection = std::unique_ptr<PGconn, ConnectionCloser>;
using Result = std::unique_ptr<PGresult, ResultClearer>;

enum class WaitEnd : std::uint8_t {
    Ready, // go on: the answer is there, or libpq has a failure to tell
    Cancelled, // the user pressed Esc
    Late, // the deadline passed
    Stopped, // the waiter's owner asked it to stop
};

struct Waiter {
    Clock::time_point deadline = Clock::time_point::max();
    bool userInterface = false; // keeps the busy scope ticking and hears Esc
    const std::atomic_bool *stop = nullptr;
    const std::atomic_bool *cancel = nullptr; // as Esc, from another thread
};

// Whether the wait must end now; ticks the busy scope for the user-interface thread.
WaitEnd checkWaiter(const Waiter &waiter);
// Until a connection started with PQconnectStartParams is made or has failed (PQstatus tells which).
WaitEnd awaitConnection(PGconn *db, const Waiter &waiter);
// Sends what libpq still holds, then waits until the next result can be taken without blocking.
WaitEnd awaitResult(PGconn *db, const Waiter &waiter);
// The statement's next result, null once it has given them all; null too when the wait ended early,
// with `end` saying why.
Result awaitNext(PGconn *db, const Waiter &waiter, WaitEnd &end);

// Asks the server to cancel the connection's statement, from a thread of its own that no one waits
// for: the request opens a new connection to the server, which a stopped server accepts and never
// answers. A few such requests at most are pending at once; beyond them the request is dropped, as
// the connection is being closed anyway.
void cancelAside(PGconn *db);
// How long connecting may take, by the connection's connect_timeout as libpq counts it.
Clock::time_point connectDeadline(PGconn *db, Clock::time_point start);

} // namespace Brennvox10::data::postgres
