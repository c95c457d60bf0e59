#include <Brennvox10/Failure.h>
#include <Brennvox10/TabStrip.h>

#include <QTabBar>
#include <QVBoxLayout>

#include <vector>

namespace Brennvox10 {

class TabStripPrivate {
public:
    explicit TabStripPrivate(TabStrip *q)
        : q(q)
        , tabs(this)
    {
    }

    // Changes the bar without letting its own current-tab notice reach the owner.
    template <typename F> void quietly(F &&change)
    {
        const bool was = quiet;
        quiet = true;
        change();
        quiet = was;
    }

    TabStrip *q;
    QTabBar *bar = nullptr;
    Brennvox10::Tabs tabs;
    std::vector<std::unique_ptr<Tab>> items;
    bool quiet = false;
};

int Tabs::Count() const
{
    return int(d->items.size());
}

Tab *Tabs::Item(int index) const
{
    if (index < 1 || index > Count())
        throw failureFor(FailureNumber::IndexOutOfBounds);
    return d->items[size_t(index - 1)].get();
}

Tab *Tabs::Item(const QString &key) const
{
    if (!key.isEmpty()) {
        for (const auto &t : d->items) {
            if (t->m_key == key)
                return t.get();
        }
    }
    throw failureFor(FailureNumber::ElementNotFound);
}

Tab *Tabs::Add(const QString &key, const QString &caption)
{
    if (!key.isEmpty()) {
        for (const auto &t : d->items) {
            if (t->m_key == key)
                throw failureFor(FailureNumber::KeyNotUnique);
        }
    }
    auto tab = std::make_unique<Tab>();
    tab->m_key = key;
    tab->m_caption = caption;
    tab->m_index = Count() + 1;
    Tab *added = tab.get();
    d->items.push_back(std::move(tab));
    // The bar makes its first tab current by itself: that is no choice of the user's.
    d->quietly([&] { d->bar->addTab(caption); });
    return added;
}

void Tabs::Clear()
{
    d->quietly([&] {
        while (d->bar->count() > 0)
            d->bar->removeTab(d->bar->count() - 1);
    });
    d->items.clear();
}

TabStrip::TabStrip(QWidget *parent)
    : QWidget(parent)
    , d(std::make_unique<TabStripPrivate>(this))
{
    d->bar = new QTabBar(this);
    d->bar->setExpanding(false);
    d->bar->setUsesScrollButtons(true);
    d->bar->setDrawBase(true);
    connect(d->bar, &QTabBar::currentChanged, this, [this](int) {
        if (!d->quiet)
            Q_EMIT Click();
    });
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(d->bar);
    layout->addStretch(1);
    setFocusProxy(d->bar);
}

TabStrip::~TabStrip()
{
    // The bar goes while its notice handler can still reach the strip's state.
    delete d->bar;
    d->bar = nullptr;
}

Brennvox10::Tabs &TabStrip::Tabs()
{
    return d->tabs;
}

Tab *TabStrip::SelectedItem() const
{
    const int current = d->bar->currentIndex();
    if (current < 0 || current >= int(d->items.size()))
        return nullptr;
    return d->items[size_t(current)].get();
}

void TabStrip::selectTab(int position)
{
    if (position < 1 || position > int(d->items.size()))
        throw failureFor(FailureNumber::IndexOutOfBounds);
    d->quietly([&] { d->bar->setCurrentIndex(position - 1); });
    Q_EMIT Click();
}

QTabBar *TabStrip::tabBar() const
{
    return d->bar;
}

} // namespace Brennvox10

#include "Brennvox10/moc_TabStrip.cpp"
