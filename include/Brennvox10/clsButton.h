#pragma once
// How a command bar button is to be shown: applied by ctlMenu::ConfigureButton. A plain value
// holder; nothing is checked.

#include <Brennvox10/brennvox10_export.h>

#include <QString>

namespace Brennvox10 {

class BRENNVOX10_EXPORT clsButton {
public:
    clsButton() = default;

    // Empty keeps the button's caption.
    QString Caption() const { return m_caption; }
    void Caption(const QString &pCaption) { m_caption = pCaption; }
    // True shows and enables the button; false hides and disables it.
    bool Visible() const { return m_visible; }
    void Visible(bool pVisible) { m_visible = pVisible; }
    // Empty keeps the button's command key.
    QString CmdKey() const { return m_cmdKey; }
    void CmdKey(const QString &pCmdKey) { m_cmdKey = pCmdKey; }

private:
    QString m_caption;
    bool m_visible = true;
    QString m_cmdKey;
};

} // namespace Brennvox10
