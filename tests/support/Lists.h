// SPDX-License-Identifier: MIT
#pragma once
// The list controls as a user meets them: the record list's tab strips, and the filter dialog both
// lists open from their status strip.

#include <Brennvox10/Brennvox10.h>

#include <QApplication>
#include <QTest>
#include <QTimer>

// Strip 0, the upper one, or 1.
inline Brennvox10::TabStrip *strip(const Brennvox10::ctlListRecord &c, int i)
{
    return c.findChild<Brennvox10::TabStrip *>(QStringLiteral("ctlTabStrip(%1)").arg(i));
}

// Each strip's tabs as "key=caption,...".
inline QStringList tabTexts(const Brennvox10::ctlListRecord &c)
{
    QStringList out { {}, {} };
    for (int s = 0; s < 2; ++s)
        for (int i = 1; i <= strip(c, s)->Tabs().Count(); ++i)
            out[s] += (i > 1 ? "," : "") + strip(c, s)->Tabs().Item(i)->Key() + '='
                + strip(c, s)->Tabs().Item(i)->Caption();
    return out;
}

// Clicks "Cambiar filtro" on the list; `user` gets the dialog once it is up and modal, however long its
// value lists take. A dialog left open is unloaded after limitMs so that no fault hangs a test; false then.
template <typename User> bool throughFilterDialog(QWidget &list, User user, int limitMs = 2000)
{
    QTimer answer, safety;
    answer.callOnTimeout([&] {
        Brennvox10::frmdlgFilter *form = Brennvox10::frmdlgFilter::loaded();
        if (form && form->isVisible() && QApplication::activeModalWidget() == form) {
            answer.stop();
            user(*form, form->ctlFilter1());
        }
    });
    answer.start(20);
    safety.setSingleShot(true);
    safety.callOnTimeout([] { Brennvox10::frmdlgFilter::Unload(); });
    safety.start(limitMs);
    QTest::mouseClick(list.findChild<QWidget *>(QStringLiteral("Label2")), Qt::LeftButton, {}, QPoint(5, 5));
    return safety.isActive();
}
