// SPDX-License-Identifier: MIT
#pragma once
// Work that blocks the user interface: a load or a sort opens a scope, and the loops inside it (rows
// read, the engine's progress, rows sorted) tick. Once a scope has run past a tenth of a second the
// pointer shows the wait cursor until the outermost scope ends, and from then on a tick now and then
// lets the window repaint: paint, timers and posted events are handled, while the user's input is
// held off, apart from Esc, which asks the work to stop. Short work never flickers the pointer.

#include <functional>

namespace Brennvox10::busy {

class Scope {
public:
    Scope();
    ~Scope();
    Scope(const Scope &) = delete;
    Scope &operator=(const Scope &) = delete;
};

// Cheap enough to call for every row; does nothing outside a scope or off the user-interface thread.
void tick();
// The same for a loop that sleeps between calls (waiting on a server): the clock is read every time.
void tickWaiting();

// Whether the user pressed Esc during the current outermost scope.
bool cancelRequested();

// Whether events are being handled from inside a tick: work posted for later should wait for the
// scope to end rather than run now, through whenDone.
bool pumping();
// Runs `work` once the outermost scope has ended (at once outside any scope).
void whenDone(std::function<void()> work);

} // namespace Brennvox10::busy
