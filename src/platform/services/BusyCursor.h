#pragma once
// The wait cursor for work that blocks the user interface. A load or a sort opens a scope; the loops
// inside it (rows read, the engine's progress, rows sorted) tick. Once a scope has run past a tenth of
// a second the pointer shows the wait cursor, until the outermost scope ends. Short work never
// flickers the pointer.

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

} // namespace Brennvox10::busy
