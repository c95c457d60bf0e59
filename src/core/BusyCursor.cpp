// SPDX-License-Identifier: MIT
#include "core/BusyCursor.h"

#include <QCursor>
#include <QElapsedTimer>
#include <QEvent>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QThread>

#include <utility>
#include <vector>

namespace Brennvox10::busy {

namespace {

constexpr qint64 DelayMs = 100;
constexpr qint64 PumpEveryMs = 50;

// Holds off the user's input while the window repaints from inside a tick; notes Esc. A close
// request waits too: the window must not go while the work that runs in it is on the stack.
class InputHold : public QObject {
public:
    bool cancel = false;

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        switch (event->type()) {
        case QEvent::KeyPress:
            if (static_cast<QKeyEvent *>(event)->key() == Qt::Key_Escape)
                cancel = true;
            return true;
        case QEvent::KeyRelease:
        case QEvent::ShortcutOverride:
        case QEvent::Shortcut:
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonRelease:
        case QEvent::MouseButtonDblClick:
        case QEvent::MouseMove:
        case QEvent::Wheel:
        case QEvent::ContextMenu:
        case QEvent::TouchBegin:
        case QEvent::TouchUpdate:
        case QEvent::TouchEnd:
        case QEvent::Close:
        case QEvent::Drop:
            return true;
        default:
            return false;
        }
    }
};

struct State {
    int depth = 0;
    bool shown = false;
    bool pumping = false;
    unsigned ticks = 0;
    QElapsedTimer timer;
    qint64 lastPump = 0;
    InputHold *hold = nullptr;
    std::vector<std::function<void()>> whenDone;
};

thread_local State state;

bool onGuiThread()
{
    return qobject_cast<QGuiApplication *>(QCoreApplication::instance())
        && QThread::currentThread() == QCoreApplication::instance()->thread();
}

void pump()
{
    if (!state.hold) {
        state.hold = new InputHold;
        QCoreApplication::instance()->installEventFilter(state.hold);
    }
    state.pumping = true;
    QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    state.pumping = false;
    state.lastPump = state.timer.elapsed();
}

} // namespace

Scope::Scope()
{
    if (state.depth++ == 0) {
        state.shown = false;
        state.ticks = 0;
        state.lastPump = 0;
        state.timer.start();
        if (state.hold)
            state.hold->cancel = false;
    }
}

Scope::~Scope()
{
    if (--state.depth != 0)
        return;
    if (state.hold) {
        QCoreApplication::instance()->removeEventFilter(state.hold);
        delete state.hold;
        state.hold = nullptr;
    }
    if (state.shown) {
        state.shown = false;
        if (onGuiThread())
            QGuiApplication::restoreOverrideCursor();
    }
    for (const auto &work : std::exchange(state.whenDone, {}))
        work();
}

namespace {

void lookAtTheClock()
{
    const qint64 now = state.timer.elapsed();
    if (now < DelayMs || !onGuiThread())
        return;
    if (!state.shown) {
        state.shown = true;
        QGuiApplication::setOverrideCursor(QCursor(Qt::WaitCursor));
    }
    if (now - state.lastPump >= PumpEveryMs)
        pump();
}

} // namespace

void tick()
{
    // The clock is read once in 16 calls: a tick costs an increment.
    if (state.depth == 0 || state.pumping || (++state.ticks & 15) != 0)
        return;
    lookAtTheClock();
}

void tickWaiting()
{
    if (state.depth != 0 && !state.pumping)
        lookAtTheClock();
}

bool cancelRequested()
{
    return state.hold && state.hold->cancel;
}

bool pumping()
{
    return state.pumping;
}

void whenDone(std::function<void()> work)
{
    if (state.depth == 0)
        work();
    else
        state.whenDone.push_back(std::move(work));
}

} // namespace Brennvox10::busy
