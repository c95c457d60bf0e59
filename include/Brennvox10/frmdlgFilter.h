// SPDX-License-Identifier: MIT
#pragma once
/// \file
/// The filter dialog: a fixed-size modal window captioned "Filtro" around one ctlFilter, ctlFilter1.
/// A thread has at most one loaded: Load gives it (a fresh one after each Unload), Unload destroys
/// it. Closing the window by its close box or Escape hides it without raising either filter event;
/// whoever showed it unloads it then.

#include <Brennvox10/brennvox10_export.h>

#include <QDialog>

namespace Brennvox10 {

class ctlFilter;

/// The filter dialog around one ctlFilter; one per thread at most.
class BRENNVOX10_EXPORT frmdlgFilter : public QDialog {
    Q_OBJECT
public:
    /// Destroys the frmdlgFilter and what it owns.
    ~frmdlgFilter() override;

    /// The filter editor the dialog holds.
    ctlFilter *ctlFilter1() const;

    /// This thread's dialog, loaded in its design state when none is.
    static frmdlgFilter *Load();
    /// This thread's dialog, or nullptr when none is loaded.
    static frmdlgFilter *loaded();
    /// Destroys this thread's dialog, if any. Safe from inside a handler of its own ctlFilter1's
    /// events.
    static void Unload();

private:
    frmdlgFilter();
    ctlFilter *m_filter;
};

} // namespace Brennvox10
