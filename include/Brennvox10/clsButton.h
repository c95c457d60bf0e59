// SPDX-License-Identifier: MIT
#pragma once
/// \file
/// How a command bar button is to be shown: applied by ctlMenu::ConfigureButton. A plain value
/// holder; nothing is checked.

#include <Brennvox10/brennvox10_export.h>

#include <QMetaType>
#include <QObject>
#include <QString>

namespace Brennvox10 {

/// How a command bar button is to be shown (ctlMenu::ConfigureButton).
class BRENNVOX10_EXPORT clsButton {
    Q_GADGET
    Q_CLASSINFO("dispid 0x68030002 get", "Caption")
    Q_CLASSINFO("dispid 0x68030002 put", "Caption")
    Q_CLASSINFO("dispid 0x68030001 get", "Visible")
    Q_CLASSINFO("dispid 0x68030001 put", "Visible")
    Q_CLASSINFO("dispid 0x68030000 get", "CmdKey")
    Q_CLASSINFO("dispid 0x68030000 put", "CmdKey")
public:
    /// A descriptor that keeps caption and command key and shows the button.
    clsButton() = default;

    /// Empty keeps the button's caption.
    Q_INVOKABLE QString Caption() const { return m_caption; }
    /// Sets the caption; empty keeps the button's own.
    Q_INVOKABLE void Caption(const QString &pCaption) { m_caption = pCaption; }
    /// True shows and enables the button; false hides and disables it.
    Q_INVOKABLE bool Visible() const { return m_visible; }
    /// Sets whether the button is shown and enabled.
    Q_INVOKABLE void Visible(bool pVisible) { m_visible = pVisible; }
    /// Empty keeps the button's command key.
    Q_INVOKABLE QString CmdKey() const { return m_cmdKey; }
    /// Sets the command key; empty keeps the button's own.
    Q_INVOKABLE void CmdKey(const QString &pCmdKey) { m_cmdKey = pCmdKey; }

private:
    QString m_caption;
    bool m_visible = true;
    QString m_cmdKey;
};

} // namespace Brennvox10

Q_DECLARE_METATYPE(Brennvox10::clsButton)
