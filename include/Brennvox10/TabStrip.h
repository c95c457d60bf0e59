// SPDX-License-Identifier: MIT
#pragma once
/// \file
/// A strip of keyed tabs. It notifies Click once for every change of its selected tab, whether the
/// user made it or selectTab did; filling or clearing the strip selects nothing that notifies.

#include <Brennvox10/brennvox10_export.h>

#include <QString>
#include <QWidget>

#include <memory>

class QTabBar;

namespace Brennvox10 {

class TabStripPrivate;

/// One tab of a TabStrip.
class BRENNVOX10_EXPORT Tab {
public:
    /// The tab's key.
    QString Key() const { return m_key; }
    /// The tab's caption.
    QString Caption() const { return m_caption; }
    int Index() const { return m_index; } ///< 1-based

private:
    friend class TabStripPrivate;
    friend class Tabs;
    QString m_key, m_caption;
    int m_index = 0;
};

/// The tabs of a TabStrip, 1-based.
class BRENNVOX10_EXPORT Tabs {
public:
    /// The number of tabs.
    int Count() const;
    /// 1-based; out of range is Failure 35600 (FailureNumber::IndexOutOfBounds).
    Tab *Item(int index) const;
    /// Failure 35601 (FailureNumber::ElementNotFound) when no tab has that key.
    Tab *Item(const QString &key) const;
    /// Appends a tab. A repeated non-empty key is Failure 35602 (FailureNumber::KeyNotUnique) and
    /// adds nothing.
    Tab *Add(const QString &key, const QString &caption);
    /// Removes every tab, selecting nothing that notifies.
    void Clear();

private:
    friend class TabStrip;
    friend class TabStripPrivate;
    explicit Tabs(TabStripPrivate *d)
        : d(d)
    {
    }
    TabStripPrivate *d;
};

/// A strip of keyed tabs that notifies Click for every change of its selected tab.
class BRENNVOX10_EXPORT TabStrip : public QWidget {
    Q_OBJECT
public:
    /// An empty strip.
    explicit TabStrip(QWidget *parent = nullptr);
    /// Destroys the TabStrip and what it owns.
    ~TabStrip() override;

    /// The tabs.
    Brennvox10::Tabs &Tabs();
    /// The selected tab, or nullptr when the strip has none selected.
    Tab *SelectedItem() const;
    /// Selects the tab at a 1-based position and notifies Click, even when it was already selected,
    /// exactly as a user's choice would. Out of range is Failure 35600
    /// (FailureNumber::IndexOutOfBounds).
    void selectTab(int position);

    /// The tab bar that shows the tabs.
    QTabBar *tabBar() const;

    /// With a pane, the strip draws a framed page area below its tabs, as a tab dialog does; the
    /// client area is then that page's inside. Without one the client area is the strip below its
    /// tabs. Twips, in the coordinates of the strip's parent.
    ///
    /// Shows or hides the pane.
    void setPaneVisible(bool visible);
    /// The client area's left edge, in twips.
    float ClientLeft() const;
    /// The client area's top, in twips.
    float ClientTop() const;
    /// The client area's width, in twips.
    float ClientWidth() const;
    /// The client area's height, in twips.
    float ClientHeight() const;

Q_SIGNALS:
    /// The selected tab changed.
    void Click();

protected:
    /// Draws the pane, when it is shown.
    void paintEvent(QPaintEvent *event) override;

private:
    friend class TabStripPrivate;
    std::unique_ptr<TabStripPrivate> const d;
};

} // namespace Brennvox10
