// SPDX-License-Identifier: MIT
#pragma once
// How a command bar button is to be shown: applied by ctlMenu::ConfigureButton. A plain value
// holder; nothing is checked.

#include <Brennvox10/brennvox10_export.h>

#include <QMetaType>
#include <QObject>
#include <QString>

namespace Brennvox10 {

class BRENNVOX10_EXPORT clsButton {
    Q_GADGET
    Q_CLASSINFO("dispid 0x68030002 get", "Caption")
    Q_CLASSINFO("dispid 0x68030002 put", "Caption")
    Q_CLASSINFO("dispid 0x68030001 get", "Visible")
    Q_CLASSINFO("dispid 0x68030001 put", "Visible")
    Q_CLASSINFO("dispid 0x68030000 get", "CmdKey")
    Q_CLASSINFO("dispid 0x68030000 put", "CmdKey")
public:
    clsButton() = default;

    // Empty keeps the button's caption.
    Q_INVOKABLE QString Caption() const { return m_caption; }
    Q_INVOKABLE void Caption(const QString &pCaption) { m_caption = pCaption; }
    // True shows and enables the button; false hides and disables it.
    Q_INVOKABLE bool Visible() const { return m_visible; }
    Q_INVOKABLE void Visible(bool pVisible) { m_visible = pVisible; }
    // Empty keeps the button's command key.
    Q_INVOKABLE QString CmdKey() const { return m_cmdKey; }
    Q_INVOKABLE void CmdKey(const QString &pCmdKey) { m_cmdKey = pCmdKey; }

private:
    QString m_caption;
    bool m_visible = true;
    QString m_cmdKey;
};

} // namespace Brennvox10

Q_DECLARE_METATYPE(Brennvox10::clsButton)
