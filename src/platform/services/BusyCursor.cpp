#include "platform/services/BusyCursor.h"

#include <QCursor>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QThread>

namespace Brennvox10::busy {

namespace {

constexpr qint64 DelayMs = 100;

struct State {
    int depth = 0;
    bool shown = false;
    unsigned ticks = 0;
    QElapsedTimer timer;
};

thread_local State state;

bool onGuiThread()
{
    return qobject_cast<QGuiApplication *>(QCoreApplication::instance())
        && QThread::currentThread() == QCoreApplication::instance()->thread();
}

} // namespace

Scope::Scope()
{
    if (state.depth++ == 0) {
        state.shown = false;
        state.ticks = 0;
        state.timer.start();
    }
}

Scope::~Scope()
{
    if (--state.depth == 0 && state.shown) {
        state.shown = false;
        if (onGuiThread())
            QGuiApplication::restoreOverrideCursor();
    }
}

void tick()
{
    // The clock is read once in 16 calls: a tick costs an increment.
    if (state.depth == 0 || state.shown || (++state.ticks & 15) != 0 || state.timer.elapsed() < DelayMs)
        return;
    if (!onGuiThread())
        return;
    state.shown = true;
    QGuiApplication::setOverrideCursor(QCursor(Qt::WaitCursor));
}

} // namespace Brennvox10::busy
