// SPDX-License-Identifier: MIT
#pragma once
/// \file
/// The command bar: a column of seven command buttons, cmdButtom(0) to cmdButtom(6), each as wide as
/// the bar. A press raises cmdClick with the button's command key, which each button keeps in its "Tag"
/// property, apart from its caption. Nothing here is guarded: failures reach the caller.

#include <Brennvox10/brennvox10_export.h>
#include <Brennvox10/clsButton.h>

#include <QVariant>
#include <QWidget>

#include <memory>

namespace Brennvox10 {

class ctlMenuPrivate;

/// The command bar: seven buttons, one event.
class BRENNVOX10_EXPORT ctlMenu : public QWidget {
    Q_OBJECT
    Q_CLASSINFO("dispid 0x60030001 method", "ConfigureButton")
    Q_CLASSINFO("dispid 0x68030000 put", "mnuType")
    Q_CLASSINFO("dispid 0x68030000 get", "mnuType")
    Q_CLASSINFO("event 1", "cmdClick")
public:
    /// A bar with its seven buttons in their design state.
    explicit ctlMenu(QWidget *parent = nullptr);
    /// Destroys the ctlMenu and what it owns.
    ~ctlMenu() override;

    /// Applies a descriptor to button pIndex and restacks the shown buttons. A null descriptor or
    /// an index above 6 changes nothing; a negative index is Failure 340
    /// (FailureNumber::ControlArrayElementMissing). Returns an empty variant.
    QVariant ConfigureButton(qint16 pIndex, const clsButton *pBtn);
    /// The same, with the descriptor by reference (as dispatch passes it).
    Q_INVOKABLE QVariant ConfigureButton(qint16 pIndex, const Brennvox10::clsButton &pBtn)
    {
        return ConfigureButton(pIndex, &pBtn);
    }

    /// 1 hides "Anular" and "Recodificar", 0 shows them; other values only store the type.
    Q_INVOKABLE void mnuType(qint16 pType);
    /// The type last set; 0 until then.
    Q_INVOKABLE qint16 mnuType() const;

Q_SIGNALS:
    /// pCmdKey is a copy: what a handler writes to it is discarded.
    void cmdClick(QString &pCmdKey);

protected:
    /// Makes every button as wide as the bar.
    void resizeEvent(QResizeEvent *event) override;

private:
    std::unique_ptr<ctlMenuPrivate> const d;
};

} // namespace Brennvox10
