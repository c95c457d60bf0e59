// SPDX-License-Identifier: MIT
#include <Brennvox10/ctlFilter.h>
#include "core/BusyCursor.h"

#include "controls/filter/FilterText.h"
#include "controls/filter/ValueList_p.h"
#include "core/Conversions.h"
#include "core/Guard.h"
#include "recordset/ConnectionSettings.h"
#include "recordset/Recordset.h"
#include "recordset/RowWalk.h"
#include "widgets/DatePicker.h"
#include "widgets/Icons.h"
#include "widgets/Twips.h"
#include "xml/XmlHelper.h"

#include <Brennvox10/Failure.h>
#include <Brennvox10/Services.h>
#include <Brennvox10/TabStrip.h>
#include <Brennvox10/XmlDocument.h>

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QFrame>
#include <QIcon>
#include <QLineEdit>
#include <QListView>
#include <QToolButton>

#include <array>

// The button icons live in this layer's object files; a static link would drop them unless
// something refers to their registration. The macro must be used at global scope.
static void initFilterResources()
{
    Q_INIT_RESOURCE(bv_filter);
}

namespace Brennvox10 {

namespace {

const QString KeyPage1 = QStringLiteral("tabFiltro");
const QString KeyPage2 = QStringLiteral("tabAvanzado");

constexpr std::array<const char16_t *, 6> OperatorCaptions { u"Igual", u"Menor", u"Menor Igual", u"Mayor",
    u"Mayor Igual", u"Diferente" };
constexpr std::array<const char16_t *, 6> OperatorTexts { u"=", u"<", u"<=", u">", u">=", u"<>" };

constexpr float ListHeight = 315.0f;
constexpr float PickerWidth = 1368.0f;
constexpr float PickerHeight = 312.0f;
// Where a shown date picker goes, over its condition's value box (left, top; page coordinates).
constexpr float PickerLeft = 3240.0f;
constexpr std::array<float, 2> PickerTop { 600.0f, 900.0f };

struct Place {
    float left, top, width;
};

// The inputs' places on each page, in twips relative to the page.
struct PageDesign {
    Place field, first, firstOperator, firstValue, second, secondOperator, secondValue;
};
constexpr std::array<PageDesign, 2> Design { {
    { { 108, 270, 1992 }, { 108, 636, 1668 }, { 1884, 600, 1332 }, { 3255, 585, 1350 }, { 108, 924, 1752 },
        { 1884, 900, 1332 }, { 3270, 915, 1335 } },
    { { 108, 288, 1992 }, { 108, 672, 1668 }, { 1875, 600, 1332 }, { 3225, 615, 1380 }, { 108, 960, 1752 },
        { 1875, 912, 1332 }, { 3240, 945, 1365 } },
} };
constexpr float FirstCheckHeight = 228.0f;
constexpr float SecondCheckHeight = 192.0f;

struct FilterDefinition {
    QString fltName;
    qint16 fltType = 0;
    QString fltSQL;
    qint16 fltFieldtype = 0;

    bool isFreeDate() const { return fltType == 0 && fltFieldtype == 1; }
};

// The inputs of one page; conditions are indexed 0 (first) and 1 (second).
struct Page {
    QFrame *frame = nullptr;
    QComboBox *field = nullptr;
    std::array<QCheckBox *, 2> check {};
    std::array<QComboBox *, 2> op {};
    std::array<QComboBox *, 2> value {};
    std::array<DatePicker *, 2> date {};
    ValueListModel *values = nullptr;
};

QString nameOf(const char *base, int number)
{
    return QLatin1String(base) + QString::number(number);
}

void place(QWidget *w, const Place &p, float height)
{
    twips::setRect(w, p.left, p.top, p.width, height);
}

// A caption drawn in a wider font than the design's would be cut off: the check box may take the
// room up to the next input, and its font shrinks until the caption fits there.
void fitCaption(QCheckBox *box, float rightEdge)
{
    const int room = twips::toPixels(rightEdge) - box->x() - 2;
    QFont f = box->font();
    while (box->sizeHint().width() > room && f.pointSizeF() > 6.0) {
        f.setPointSizeF(f.pointSizeF() - 0.5);
        box->setFont(f);
    }
    box->resize(std::max(box->width(), std::min(room, box->sizeHint().width())), box->height());
}

// A condition's value: typed, or chosen from the field's list of values, which every value box of
// the page shares.
QComboBox *makeValueBox(QWidget *parent, ValueListModel *values, int number)
{
    auto *box = new QComboBox(parent);
    box->setObjectName(nameOf("cmb", number));
    box->setEditable(true);
    // A typed value is a value, not a new item of the field's list.
    box->setInsertPolicy(QComboBox::NoInsert);
    // Measuring every item of a long list for the box's width would cost a pass over it; the
    // box has its design width anyway.
    box->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    box->setModel(values);
    if (auto *view = qobject_cast<QListView *>(box->view()))
        view->setUniformItemSizes(true);
    // An item is "value||description": its start is what matters, so show that.
    QObject::connect(
        box, &QComboBox::currentIndexChanged, box, [box] { box->lineEdit()->setCursorPosition(0); });
    return box;
}

// Names an input for assistive technology by the text the user reads beside it. Besides the name, a
// label that is never shown takes the input as its buddy: a desktop's screen reader names a list box
// by the label that points at it, and reads the box's own name as its value.
void nameInput(QWidget *input, const QString &text)
{
    input->setAccessibleName(text);
    auto *label = new QLabel(text, input->parentWidget());
    label->setBuddy(input);
    label->hide();
}

QToolButton *makeButton(QWidget *parent, const char *name, const QString &caption, const QString &icon)
{
    auto *b = new QToolButton(parent);
    b->setObjectName(QLatin1String(name));
    b->setText(caption);
    b->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    b->setIcon(drawnIcon(QStringLiteral(":/brennvox10/filter/icons/") + icon));
    b->setIconSize(QSize(16, 16));
    return b;
}

} // namespace

class ctlFilterPrivate {
public:
    explicit ctlFilterPrivate(ctlFilter &q);

    void buildPage(int index);
    void buildCondition(Page &p, int index, int c);
    void fitCaptions();
    void fitPage(Guard &g, int index);
    // The handlers of the user's actions, each a guarded procedure.
    void onTabClick();
    void onFieldChosen(int index);
    void onSecondCheck(int index);
    void onOK();
    void onCancel();

    // Showme's two halves.
    void readDefinitions(Guard &g, const xml::Node &pNode);
    void resetInputs(Guard &g);
    void chooseDateField(Guard &g, Page &p);
    void chooseFreeField(Guard &g, Page &p);
    void chooseListField(Guard &g, Page &p, const FilterDefinition &def);
    const FilterDefinition *chosen(const Page &p) const;
    // What one condition's inputs hold.
    FilterCondition inputs(const Page &p, int which) const;

    ctlFilter &q;
    ConnectionSettings connection;
    std::vector<FilterDefinition> FilterDefinitions;
    std::array<QString, 6> Operators;

    TabStrip *TabStrip1;
    std::array<Page, 2> pages;
    QToolButton *OKButton;
    QToolButton *CancelButton;
};

ctlFilterPrivate::ctlFilterPrivate(ctlFilter &q)
    : q(q)
    , TabStrip1(new TabStrip(&q))
{
    initFilterResources();
    TabStrip1->setObjectName(QStringLiteral("TabStrip1"));
    TabStrip1->setPaneVisible(true);
    TabStrip1->Tabs().Add(KeyPage1, QStringLiteral("Filtro 1"));
    TabStrip1->Tabs().Add(KeyPage2, QStringLiteral("Filtro 2"));
    twips::setRect(TabStrip1, 0, 0, 4920, 1935);
    for (int i = 0; i < 2; ++i)
        buildPage(i);
    pages[1].frame->hide();

    OKButton = makeButton(&q, "OKButton", QStringLiteral("Aceptar"), QStringLiteral("ok"));
    CancelButton = makeButton(&q, "CancelButton", QStringLiteral("Cerrar"), QStringLiteral("cancel"));
    twips::setRect(OKButton, 2100, 2010, 1395, 660);
    twips::setRect(CancelButton, 3525, 2025, 1395, 645);

    QObject::connect(TabStrip1, &TabStrip::Click, &q, [this] { onTabClick(); });
    for (int i = 0; i < 2; ++i) {
        QObject::connect(pages[size_t(i)].field, &QComboBox::activated, &q, [this, i] { onFieldChosen(i); });
        QObject::connect(pages[size_t(i)].check[1], &QCheckBox::clicked, &q, [this, i] { onSecondCheck(i); });
    }
    QObject::connect(OKButton, &QToolButton::clicked, &q, [this] { onOK(); });
    QObject::connect(CancelButton, &QToolButton::clicked, &q, [this] { onCancel(); });
}

void ctlFilterPrivate::buildPage(int index)
{
    Page &p = pages[size_t(index)];
    const PageDesign &at = Design[size_t(index)];

    p.frame = new QFrame(&q);
    p.frame->setObjectName(nameOf("Frame", index + 1));
    p.frame->setFrameShape(QFrame::NoFrame);
    twips::setRect(p.frame, TabStrip1->ClientLeft(), TabStrip1->ClientTop(), TabStrip1->ClientWidth(),
        TabStrip1->ClientHeight());
    p.frame->raise();

    // The page and its field list go by their tab's caption, the only text that names them.
    const QString page = TabStrip1->Tabs().Item(index + 1)->Caption();
    p.frame->setAccessibleName(page);
    p.field = new QComboBox(p.frame);
    p.field->setObjectName(nameOf("Filtro", index + 1));
    nameInput(p.field, page);
    place(p.field, at.field, ListHeight);

    p.values = new ValueListModel(p.frame);
    for (int c = 0; c < 2; ++c)
        buildCondition(p, index, c);
    p.check[0]->setChecked(true);
    p.check[0]->setEnabled(false);
}

void ctlFilterPrivate::buildCondition(Page &p, int index, int c)
{
    const PageDesign &at = Design[size_t(index)];
    const int n = 2 * index + 1 + c; // page 1's inputs are numbered 1 and 2, page 2's 3 and 4
    const size_t k = size_t(c);
    p.check[k] = new QCheckBox(
        c == 0 ? QStringLiteral("Primera Condicion:") : QStringLiteral("Segunda Condicion:"), p.frame);
    p.check[k]->setObjectName(nameOf("Check", n));
    place(p.check[k], c == 0 ? at.first : at.second, c == 0 ? FirstCheckHeight : SecondCheckHeight);

    p.op[k] = new QComboBox(p.frame);
    p.op[k]->setObjectName(nameOf("Condicion", n));
    for (const char16_t *caption : OperatorCaptions)
        p.op[k]->addItem(QString::fromUtf16(caption));
    // Nothing is chosen until Showme chooses "Igual".
    p.op[k]->setCurrentIndex(-1);
    place(p.op[k], c == 0 ? at.firstOperator : at.secondOperator, ListHeight);

    const Place &value = c == 0 ? at.firstValue : at.secondValue;
    p.value[k] = makeValueBox(p.frame, p.values, n);
    place(p.value[k], value, ListHeight);

    p.date[k] = new DatePicker(p.frame);
    p.date[k]->setObjectName(nameOf("DTPicker", n));
    // A condition's inputs have no label of their own: its check box's caption names them.
    for (QWidget *input : { static_cast<QWidget *>(p.op[k]), static_cast<QWidget *>(p.value[k]),
             static_cast<QWidget *>(p.date[k]) })
        nameInput(input, p.check[k]->text());
    twips::setRect(p.date[k], value.left, value.top, PickerWidth, PickerHeight);
    p.date[k]->hide();
}

void ctlFilterPrivate::fitCaptions()
{
    for (int i = 0; i < 2; ++i) {
        const PageDesign &at = Design[size_t(i)];
        fitCaption(pages[size_t(i)].check[0], at.firstOperator.left);
        fitCaption(pages[size_t(i)].check[1], at.secondOperator.left);
    }
}

ctlFilter::ctlFilter(QWidget *parent)
    : QWidget(parent)
    , d(std::make_unique<ctlFilterPrivate>(*this))
{
    setObjectName(QStringLiteral("ctlFilter"));
    QFont small = font();
    small.setPointSizeF(8);
    setFont(small);
    d->fitCaptions();
    setTwipsSize(this, 4995, 2760);
}

ctlFilter::~ctlFilter() = default;

void ctlFilter::fltConnectionString(const QString &value)
{
    d->connection.connectionString = value;
}

void ctlFilter::fltDataSource(const QString &value)
{
    d->connection.dataSource = value;
}

void ctlFilter::fltUser(const QString &) { }

void ctlFilter::fltPassword(const QString &value)
{
    d->connection.password = value;
}

QVariant ctlFilter::Showme(const xml::Node &pNode)
{
    const busy::Scope busy;
    guarded(*this, [&](Guard &g) {
        d->readDefinitions(g, pNode);
        d->resetInputs(g);
    });
    return QVariant();
}

void ctlFilterPrivate::readDefinitions(Guard &g, const xml::Node &pNode)
{
    Page &p1 = pages[0];
    Page &p2 = pages[1];
    g.step([&] {
        FilterDefinitions.clear();
        p1.field->clear();
        p2.field->clear();
    });
    std::vector<xml::Node> entries;
    g.step([&] { entries = childNodesOf(pNode); });
    XmlHelper &helper = xmlHelper();
    // Kept across entries: a skipped read leaves the previous entry's value.
    FilterDefinition def;
    for (const xml::Node &entry : entries) {
        g.step([&] { def.fltName = helper.GetAttribute(entry, QStringLiteral("fltName")); });
        g.step([&] { def.fltType = toInteger(helper.GetAttribute(entry, QStringLiteral("fltType"))); });
        g.step([&] {
            def.fltFieldtype = toInteger(helper.GetAttribute(entry, QStringLiteral("fltFieldtype")));
        });
        g.step([&] { def.fltSQL = helper.GetAttribute(entry, QStringLiteral("fltSQL")); });
        for (Page *p : { &p1, &p2 }) {
            // Adding must not choose: a choice runs the field's handling.
            g.step([&] {
                const QSignalBlocker quiet(p->field);
                p->field->addItem(def.fltName);
                if (p->field->count() == 1)
                    p->field->setCurrentIndex(-1);
            });
        }
        for (Page *p : { &p1, &p2 })
            g.step([&] { p->field->setItemData(p->field->count() - 1, int(def.fltFieldtype)); });
        g.step([&] { FilterDefinitions.push_back(def); });
    }
}

// Every second condition disabled, each page's first field chosen, every operator "Igual", the
// first page shown.
void ctlFilterPrivate::resetInputs(Guard &g)
{
    for (Page &p : pages) {
        g.step([&] { p.op[1]->setEnabled(false); });
        g.step([&] { p.value[1]->setEnabled(false); });
        g.step([&] { p.date[1]->setEnabled(false); });
    }
    for (int i = 0; i < 2; ++i) {
        g.step([&] {
            if (pages[size_t(i)].field->count() > 0) {
                pages[size_t(i)].field->setCurrentIndex(0);
                onFieldChosen(i);
            }
        });
    }
    for (Page &p : pages)
        for (QComboBox *op : p.op)
            g.step([&] { op->setCurrentIndex(0); });
    g.step([&] { TabStrip1->selectTab(1); });
    g.step([&] {
        for (size_t i = 0; i < Operators.size(); ++i)
            Operators[i] = QString::fromUtf16(OperatorTexts[i]);
    });
}

void ctlFilterPrivate::fitPage(Guard &g, int index)
{
    QFrame *frame = pages[size_t(index)].frame;
    g.step([&] { twips::setTop(frame, TabStrip1->ClientTop()); });
    g.step([&] { twips::setLeft(frame, TabStrip1->ClientLeft()); });
    g.step([&] { twips::setWidth(frame, TabStrip1->ClientWidth()); });
    g.step([&] { twips::setHeight(frame, TabStrip1->ClientHeight()); });
    g.step([&] { frame->show(); });
    g.step([&] { frame->raise(); });
}

void ctlFilterPrivate::onTabClick()
{
    guarded(q, [&](Guard &g) {
        QString key;
        g.step([&] {
            const Tab *tab = TabStrip1->SelectedItem();
            if (!tab)
                throw failureFor(FailureNumber::ObjectNotSet);
            key = tab->Key();
        });
        if (key == KeyPage1) {
            fitPage(g, 0);
            g.step([&] { pages[1].frame->hide(); });
        } else if (key == KeyPage2) {
            g.step([&] { pages[0].frame->hide(); });
            fitPage(g, 1);
        }
    });
}

const FilterDefinition *ctlFilterPrivate::chosen(const Page &p) const
{
    const int at = p.field->currentIndex();
    if (at < 0 || size_t(at) >= FilterDefinitions.size())
        return nullptr;
    return &FilterDefinitions[size_t(at)];
}

void ctlFilterPrivate::onFieldChosen(int index)
{
    guarded(q, [&](Guard &g) {
        Page &p = pages[size_t(index)];
        const FilterDefinition *field = chosen(p);
        if (!field)
            return;
        if (field->isFreeDate())
            chooseDateField(g, p);
        else if (field->fltType == 0)
            chooseFreeField(g, p);
        else if (field->fltType == 1)
            chooseListField(g, p, *field);
    });
}

namespace {
// Shows a condition pair (value boxes or date pickers); the second is enabled only while its check
// box is checked.
template <class W> void showPair(Guard &g, const Page &p, const std::array<W *, 2> &pair)
{
    g.step([&] { pair[0]->show(); });
    g.step([&] { pair[0]->setEnabled(true); });
    g.step([&] { pair[1]->show(); });
    g.step([&] {
        if (p.check[1]->checkState() != Qt::Unchecked)
            pair[1]->setEnabled(true);
    });
}

template <class W> void hidePair(Guard &g, const std::array<W *, 2> &pair)
{
    for (W *w : pair) {
        g.step([&] { w->hide(); });
        g.step([&] { w->setEnabled(false); });
    }
}
} // namespace

void ctlFilterPrivate::chooseDateField(Guard &g, Page &p)
{
    hidePair(g, p.value);
    for (size_t c = 0; c < 2; ++c) {
        g.step([&] { twips::setTop(p.date[c], PickerTop[c]); });
        g.step([&] { twips::setLeft(p.date[c], PickerLeft); });
    }
    showPair(g, p, p.date);
    for (DatePicker *picker : p.date)
        g.step([&] { picker->setDate(services().today()); });
}

void ctlFilterPrivate::chooseFreeField(Guard &g, Page &p)
{
    showPair(g, p, p.value);
    hidePair(g, p.date);
}

void ctlFilterPrivate::chooseListField(Guard &g, Page &p, const FilterDefinition &def)
{
    if (def.fltSQL.isEmpty())
        return;
    data::Recordset rs;
    g.step([&] { rs.Open(def.fltSQL, connection.compose(), 3, 3, -1); });
    // Both boxes show the one model: emptying the first empties the second.
    g.step([&] { p.values->clear(); });
    {
        // Rows read so far reach the boxes however the reading ends, in one insertion.
        struct Publish {
            ValueListModel *m;
            ~Publish() { m->publish(); }
        } publish { p.values };
        forEachRow(g, rs, [&] {
            // An item whose text cannot be made is reported once for each box, as each box asks.
            const int before = p.values->pending();
            g.step([&] { p.values->appendRow(rs); });
            g.step([&] {
                if (p.values->pending() == before)
                    p.values->appendRow(rs);
            });
            return true;
        });
    }
    g.step([&] { rs.Close(); });
    chooseFreeField(g, p);
    for (QComboBox *box : p.value) {
        g.step([&] {
            if (box->count() > 0)
                box->setCurrentIndex(0);
        });
    }
}

void ctlFilterPrivate::onSecondCheck(int index)
{
    guarded(q, [&](Guard &g) {
        Page &p = pages[size_t(index)];
        bool on = false;
        g.step([&] { on = p.check[1]->checkState() != Qt::Unchecked; });
        if (on) {
            g.step([&] { p.op[1]->setEnabled(true); });
            int fieldtype = 0;
            g.step([&] {
                const int at = p.field->currentIndex();
                if (at < 0)
                    throw failureFor(FailureNumber::InvalidPropertyArrayIndex);
                fieldtype = p.field->itemData(at).toInt();
            });
            if (fieldtype != 1) {
                g.step([&] { p.value[1]->show(); });
                g.step([&] { p.value[1]->setEnabled(true); });
                g.step([&] { p.date[1]->hide(); });
            } else {
                g.step([&] { p.value[1]->hide(); });
                g.step([&] { p.date[1]->show(); });
                g.step([&] { p.date[1]->setEnabled(true); });
            }
        } else {
            g.step([&] { p.op[1]->setEnabled(false); });
            g.step([&] { p.value[1]->setEnabled(false); });
            g.step([&] { p.date[1]->setEnabled(false); });
        }
    });
}

FilterCondition ctlFilterPrivate::inputs(const Page &p, int which) const
{
    const size_t k = size_t(which);
    FilterCondition c;
    c.checked = p.check[k]->checkState() != Qt::Unchecked;
    c.field = p.field->currentText();
    c.op = p.op[k]->currentIndex();
    const FilterDefinition *def = chosen(p);
    // A date field's value is its picker's date, as the database stores and compares it.
    c.value = def && def->isFreeDate() ? p.date[k]->date().toString(QStringLiteral("yyyy-MM-dd"))
                                       : p.value[k]->currentText();
    return c;
}

void ctlFilterPrivate::onOK()
{
    guarded(q, [&](Guard &g) {
        FilterConditions conditions;
        for (size_t i = 0; i < conditions.size(); ++i)
            conditions[i] = inputs(pages[i / 2], int(i % 2));
        // A condition without operator is reported; on "skip" it is left out and the text so far stays.
        QString text = filterText(conditions, Operators, [&](const std::function<bool()> &piece) {
            g.step([&] {
                if (!piece())
                    throw failureFor(FailureNumber::SubscriptOutOfRange);
            });
        });
        // The host usually destroys this control in its handler: from here on nothing of it is
        // touched.
        ctlFilter *self = &q;
        g.step([&] { Q_EMIT self->fltFilter(text); });
        g.step([] { services().processPendingEvents(); });
    });
}

void ctlFilterPrivate::onCancel()
{
    guarded(q, [&](Guard &g) {
        ctlFilter *self = &q;
        g.step([&] { Q_EMIT self->fltClose(); });
    });
}

} // namespace Brennvox10
