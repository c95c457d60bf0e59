// SPDX-License-Identifier: MIT
#pragma once
// A strip of keyed tabs. It notifies Click once for every change of its selected tab, whether the
// user made it or selectTab did; filling or clearing the strip selects nothing that notifies.

#include <Brennvox10/brennvox10_export.h>

#include <QString>
#include <QWidget>

#include <memory>

class QTabBar;

namespace Brennvox10 {

class TabStripPrivate;

class BRENNVOX10_EXPORT Tab {
public:
    QString Key() const { return m_key; }
    QString Caption() const { return m_caption; }
    int Index() const { return m_index; } // 1-based

private:
    friend class TabStripPrivate;
    friend class Tabs;
    QString m_key, m_caption;
    int m_index = 0;
};

class BRENNVOX10_EXPORT Tabs {
public:
    int Count() const;
    // 1-based; out of range is Failure 35600.
    Tab *Item(int index) const;
    // Failure 35601 when no tab has that key.
    Tab *Item(const QString &key) const;
    // Appends a tab. A repeated non-empty key is Failure 35602 and adds nothing.
    Tab *Add(const QString &key, const QString &caption);
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

class BRENNVOX10_EXPORT TabStrip : public QWidget {
    Q_OBJECT
public:
    explicit TabStrip(QWidget *parent = nullptr);
    ~TabStrip() override;

    Brennvox10::Tabs &Tabs();
    // The selected tab, or nullptr when the strip has none selected.
    Tab *SelectedItem() const;
    // Selects the tab at a 1-based position and notifies Click, even when it was already selected,
    // exactly as a user's choice would. Out of range is Failure 35600.
    void selectTab(int position);

    QTabBar *tabBar() const;

    // With a pane, the strip draws a framed page area below its tabs, as a tab dialog does; the
    // client area is then that page's inside. Without one the client area is the strip below its
    // tabs. Twips, in the coordinates of the strip's parent.
    void setPaneVisible(bool visible);
    float ClientLeft() const;
    float ClientTop() const;
    float ClientWidth() const;
    float ClientHeight() const;

Q_SIGNALS:
    void Click();

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    friend class TabStripPrivate;
    std::unique_ptr<TabStripPrivate> const d;
};

} // namespace Brennvox10
