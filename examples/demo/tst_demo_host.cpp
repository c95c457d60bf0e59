// SPDX-License-Identifier: MIT
// The demo host driven as a user drives it, with mouse and keyboard, over a large sample (DEMO_HOST_ROWS
// invoices, a million unless told): sort by a header, add an invoice through the form, change it, void it
// from the context menu, delete it, print the list. After each step the row must stand where a full sort
// puts it, show what was typed, and the database must hold the change. The time of each step is printed
// as a table; it is a measurement, not a condition.

#include "HostWindow.h"
#include "InvoiceForm.h"
#include "Unattended.h"

#include <Brennvox10/Brennvox10.h>

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QComboBox>
#include <QDir>
#include <QElapsedTimer>
#include <QHeaderView>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <sqlite3.h>

#include <functional>

using namespace Brennvox10;

namespace {

// Read-only access to the host's database, apart from both the host's and the list's own.
class Database {
public:
    explicit Database(const QString &path)
    {
        sqlite3_open_v2(QFile::encodeName(path).constData(), &m_db, SQLITE_OPEN_READONLY, nullptr);
    }
    ~Database() { sqlite3_close(m_db); }
    QStringList row(const char *sql, const QVariantList &args = {}) const
    {
        QStringList result;
        sqlite3_stmt *stmt = nullptr;
        if (sqlite3_prepare_v2(m_db, sql, -1, &stmt, nullptr) != SQLITE_OK)
            return { QStringLiteral("error: ") + QString::fromUtf8(sqlite3_errmsg(m_db)) };
        for (int i = 0; i < args.size(); ++i) {
            const QByteArray text = args[i].toString().toUtf8();
            if (args[i].typeId() == QMetaType::QString)
                sqlite3_bind_text(stmt, i + 1, text.constData(), int(text.size()), SQLITE_TRANSIENT);
            else
                sqlite3_bind_int64(stmt, i + 1, args[i].toLongLong());
        }
        if (sqlite3_step(stmt) == SQLITE_ROW)
            for (int c = 0; c < sqlite3_column_count(stmt); ++c)
                result << QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(stmt, c)));
        sqlite3_finalize(stmt);
        return result;
    }
    QString value(const char *sql, const QVariantList &args = {}) const
    {
        const QStringList r = row(sql, args);
        return r.isEmpty() ? QString() : r.first();
    }

private:
    sqlite3 *m_db = nullptr;
};

// While alive, acts on the first modal window (or popup) of type T as soon as it shows. Made in the
// step that expects the window, so a window that never opened cannot be answered by a later step.
template <typename T> class WhenShown {
public:
    explicit WhenShown(std::function<void(T *)> act)
        : m_act(std::move(act))
    {
        QObject::connect(&m_poll, &QTimer::timeout, [this] {
            QWidget *shown = QApplication::activeModalWidget();
            T *target = qobject_cast<T *>(shown ? shown : QApplication::activePopupWidget());
            // A window caught while it is still being shown may miss the first click: while it stays
            // up, it is answered again, giving each answer a moment to land.
            if (m_busy || !target || !target->isVisible() || (m_since.isValid() && m_since.elapsed() < 300))
                return;
            m_busy = true;
            m_act(target);
            m_busy = false;
            m_since.start();
        });
        m_poll.start(10);
    }

private:
    QTimer m_poll;
    QElapsedTimer m_since;
    bool m_busy = false; // an answer that opens a window of its own runs on while that one is answered
    std::function<void(T *)> m_act;
};

void typeInto(QLineEdit *field, const QString &text)
{
    field->setFocus();
    QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(field, text);
}

QString digitsOf(QString text)
{
    return text.remove(QRegularExpression(QStringLiteral("\\D")));
}

struct Step {
    const char *name;
    double ms;
};

} // namespace

class tst_DemoHost : public QObject {
    Q_OBJECT

private:
    QTemporaryDir dir;
    long rows = 0;
    std::unique_ptr<HostWindow> host;
    std::unique_ptr<Database> db;
    ListView *view = nullptr;
    QList<Step> steps;
    QElapsedTimer clock;
    qint64 id = 0; // the invoice the steps add, change and delete

    void record(const char *name, qint64 sinceNs)
    {
        steps.append({ name, (clock.nsecsElapsed() - sinceNs) / 1e6 });
    }

    QAbstractButton *command(int index) const
    {
        return host->invoices()->findChild<QAbstractButton *>(QStringLiteral("cmdButtom(%1)").arg(index));
    }
    QPoint rowCentre(const ListItem &item) const
    {
        return view->itemView()->visualRect(view->itemView()->model()->index(item.Index() - 1, 0)).center();
    }
    bool descending() const { return view->SortOrder() == 1; }
    // Where a full sort by number puts an invoice: right after every number that goes before it. The
    // numbers are unique and upper case, so the database's byte order is the list's caseless order.
    int sortedIndex(const QString &number) const
    {
        return 1
            + db->value(descending() ? "select count(*) from facturas where numero > ?"
                                     : "select count(*) from facturas where numero < ?",
                    { number })
                  .toInt();
    }
    // The number a full sort shows right before number, empty for the first.
    QString before(const QString &number) const
    {
        return db->value(descending() ? "select min(numero) from facturas where numero > ?"
                                      : "select max(numero) from facturas where numero < ?",
            { number });
    }

    // The invoice's row is in its sorted place and shows number, client, total and state.
    void checkRow(const QString &number, const QString &client, const QString &cents, const QString &state)
    {
        const ListItem item = view->ListItems().Item(QStringLiteral("T%1").arg(id));
        const int index = item.Index();
        QCOMPARE(index, sortedIndex(number));
        if (index > 1)
            QCOMPARE(view->ListItems().Item(index - 1).SubItems(1), before(number));
        QCOMPARE(item.SubItems(1), number);
        QCOMPARE(item.SubItems(3), client);
        QCOMPARE(digitsOf(item.SubItems(5)), cents);
        QCOMPARE(item.SubItems(8), state);
        QCOMPARE(view->ListItems().Count(), int(rows) + 1);
        QCOMPARE(unattended::problems, 0);
    }

private Q_SLOTS:
    void initTestCase()
    {
        clock.start();
        unattended::install();
        QVERIFY(dir.isValid());
        rows = qEnvironmentVariableIsSet("DEMO_HOST_ROWS") ? qEnvironmentVariableIntValue("DEMO_HOST_ROWS")
                                                           : 1000000;
        QVERIFY(rows >= 1000);

        qint64 t = clock.nsecsElapsed();
        const LargeSample sample = prepareLargeSample(dir.path(), rows, QStringLiteral(SAMPLE_CONF));
        QVERIFY2(sample.error.isEmpty(), qPrintable(sample.error));
        record("write the sample", t);
        db = std::make_unique<Database>(sample.db);

        host = std::make_unique<HostWindow>(
            HostOptions { .db = sample.db, .conf = sample.conf, .clientsConf = QStringLiteral(CLIENTS_CONF), .password = {} });
        host->show();
        QVERIFY(QTest::qWaitForWindowExposed(host.get()));
        t = clock.nsecsElapsed();
        host->invoices()->Showme();
        record("Showme, invoices", t);
        t = clock.nsecsElapsed();
        host->clients()->Showme();
        record("Showme, clients", t);
        view = host->invoices()->ActiveListView();
        QCOMPARE(view->ListItems().Count(), int(rows));
        QCOMPARE(unattended::problems, 0);
    }

    void cleanupTestCase()
    {
        std::printf("\n%-28s %10s   (%ld invoices)\n", "step", "ms", rows);
        for (const Step &s : steps)
            std::printf("%-28s %10.1f\n", s.name, s.ms);
        host.reset();
    }

    void amountsAsTypedInSpain_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<int>("decimals");
        QTest::addColumn<qint64>("expected"); // -1: refused
        QTest::newRow("grouped, decimal comma") << "1.234,56" << 2 << qint64(123456);
        QTest::newRow("decimal comma") << "1234,5" << 2 << qint64(123450);
        QTest::newRow("decimal point") << "1234.56" << 2 << qint64(123456);
        QTest::newRow("points only group with a comma") << "1.234.567" << 2 << qint64(123456700);
        QTest::newRow("weight in thousandths") << "12,125" << 3 << qint64(12125);
        QTest::newRow("more decimals than cents") << "1,234" << 2 << qint64(-1);
        QTest::newRow("misplaced group") << "12.34,5" << 2 << qint64(-1);
        QTest::newRow("negative") << "-5" << 2 << qint64(-1);
        QTest::newRow("empty") << "" << 2 << qint64(-1);
        QTest::newRow("words") << "mil" << 2 << qint64(-1);
    }
    void amountsAsTypedInSpain()
    {
        QFETCH(QString, typed);
        QFETCH(int, decimals);
        QFETCH(qint64, expected);
        QCOMPARE(parseAmount(typed, decimals).value_or(-1), expected);
    }

    void sortByNumberHeader()
    {
        QHeaderView *header = view->header();
        const QPoint at(
            header->sectionViewportPosition(1) + header->sectionSize(1) / 2, header->height() / 2);
        const qint64 t = clock.nsecsElapsed();
        QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, at);
        const QString first = view->ListItems().Item(1).SubItems(1);
        record("sort by Número", t);
        QVERIFY(view->Sorted());
        QCOMPARE(view->SortKey(), 1);
        const char *order = descending() ? "select numero from facturas order by numero desc limit 1"
                                         : "select numero from facturas order by numero limit 1";
        QCOMPARE(first, db->value(order));
        QCOMPARE(view->ListItems().Item(int(rows)).SubItems(1),
            db->value(
                descending() ? "select min(numero) from facturas" : "select max(numero) from facturas"));
    }

    void addThroughTheForm()
    {
        // A number in the middle of the list, and one taken, which the form must refuse.
        const QString taken
            = db->value("select numero from facturas order by numero limit 1 offset ?", { qint64(rows / 2) });
        const QString number = taken + QLatin1Char('A');
        const QStringList client
            = db->row("select id, nombre from clientes order by nombre limit 1 offset 7");
        QString refusal;
        qint64 t = 0;
        WhenShown<InvoiceForm> fillForm([&](InvoiceForm *form) {
            auto *numero = form->findChild<QLineEdit *>(QStringLiteral("numero"));
            typeInto(numero, taken);
            typeInto(form->findChild<QComboBox *>(QStringLiteral("cliente"))->lineEdit(), client.value(1));
            typeInto(form->findChild<QLineEdit *>(QStringLiteral("total")), QStringLiteral("1.234,56"));
            typeInto(form->findChild<QLineEdit *>(QStringLiteral("peso")), QStringLiteral("12,5"));
            WhenShown<QMessageBox> answerRefusal([&](QMessageBox *box) {
                refusal = box->text();
                QTest::keyClick(box, Qt::Key_Return);
            });
            QTest::keyClick(numero, Qt::Key_Return);
            typeInto(numero, number);
            t = clock.nsecsElapsed();
            QTest::keyClick(numero, Qt::Key_Return);
        });
        QTest::mouseClick(command(0), Qt::LeftButton);
        id = db->value("select id from facturas where numero = ?", { number }).toLongLong();
        QVERIFY2(id > 0, "the invoice is not in the database");
        checkRow(number, client.value(1), QStringLiteral("123456"), QStringLiteral("Pendiente"));
        record("add (Aceptar to row)", t);
        QVERIFY2(refusal.contains(taken), qPrintable(refusal));
        QCOMPARE(
            db->row(
                "select cliente, total, peso, pagada, zona = (select zona from clientes where id = cliente)"
                " from facturas where id = ?",
                { id }),
            (QStringList { client.value(0), QStringLiteral("1234.56"), QStringLiteral("12.5"),
                QStringLiteral("0"), QStringLiteral("1") }));
    }

    void changeByDoubleClick()
    {
        QVERIFY(id > 0);
        const QString number
            = db->value("select numero from facturas order by numero limit 1 offset ?", { qint64(rows / 4) })
            + QLatin1Char('B');
        const QString client = db->value(
            "select c.nombre from facturas f join clientes c on c.id = f.cliente where f.id = ?", { id });
        qint64 t = 0;
        WhenShown<InvoiceForm> editForm([&](InvoiceForm *form) {
            auto *numero = form->findChild<QLineEdit *>(QStringLiteral("numero"));
            typeInto(numero, number);
            typeInto(form->findChild<QLineEdit *>(QStringLiteral("total")), QStringLiteral("99,90"));
            t = clock.nsecsElapsed();
            QTest::keyClick(numero, Qt::Key_Return);
        });
        const QPoint at = rowCentre(view->ListItems().Item(QStringLiteral("T%1").arg(id)));
        QTest::mouseClick(view->itemView()->viewport(), Qt::LeftButton, {}, at);
        QTest::mouseDClick(view->itemView()->viewport(), Qt::LeftButton, {}, at);
        QCOMPARE(db->value("select numero from facturas where id = ?", { id }), number);
        checkRow(number, client, QStringLiteral("9990"), QStringLiteral("Pendiente"));
        record("change (Aceptar to row)", t);
    }

    void voidFromTheContextMenu()
    {
        QVERIFY(id > 0);
        const QString number = db->value("select numero from facturas where id = ?", { id });
        const QString client = db->value(
            "select c.nombre from facturas f join clientes c on c.id = f.cliente where f.id = ?", { id });
        QStringList offered;
        qint64 t = 0;
        // The host asks only once the menu has closed.
        WhenShown<QMessageBox> confirmVoid([&](QMessageBox *box) {
            for (QAbstractButton *b : box->buttons())
                if (b->text() == QStringLiteral("Sí")) {
                    t = clock.nsecsElapsed();
                    QTest::mouseClick(b, Qt::LeftButton);
                }
        });
        WhenShown<QMenu> pickVoid([&](QMenu *menu) {
            offered.clear();
            for (QAction *action : menu->actions())
                offered << action->text();
            QAction *voiding = menu->actions().value(5);
            QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(voiding).center());
        });
        const QPoint at = rowCentre(view->ListItems().Item(QStringLiteral("T%1").arg(id)));
        QTest::mouseClick(view->itemView()->viewport(), Qt::LeftButton, {}, at);
        QTest::mouseClick(view->itemView()->viewport(), Qt::RightButton, {}, at);
        QCOMPARE(offered,
            (QStringList { QStringLiteral("Adicionar"), QStringLiteral("Abrir"), QStringLiteral("Eliminar"),
                QStringLiteral("Imprimir"), QStringLiteral("Recodificar"), QStringLiteral("Anular") }));
        QCOMPARE(db->row("select estado, pagada from facturas where id = ?", { id }),
            (QStringList { QStringLiteral("Anulada"), QStringLiteral("0") }));
        checkRow(number, client, QStringLiteral("9990"), QStringLiteral("Anulada"));
        record("void (Sí to row)", t);
    }

    void deleteAfterConfirmation()
    {
        QVERIFY(id > 0);
        const QString number = db->value("select numero from facturas where id = ?", { id });
        const int index = view->ListItems().Item(QStringLiteral("T%1").arg(id)).Index();
        QString question;
        qint64 t = 0;
        WhenShown<QMessageBox> confirmDelete([&](QMessageBox *box) {
            question = box->text();
            for (QAbstractButton *b : box->buttons())
                if (b->text() == QStringLiteral("Sí")) {
                    t = clock.nsecsElapsed();
                    QTest::mouseClick(b, Qt::LeftButton);
                }
        });
        QTest::mouseClick(
            view->itemView()->viewport(), Qt::LeftButton, {}, rowCentre(view->ListItems().Item(index)));
        QTest::mouseClick(command(2), Qt::LeftButton);
        // The row after it takes its place.
        const QString next = db->value(descending() ? "select max(numero) from facturas where numero < ?"
                                                    : "select min(numero) from facturas where numero > ?",
            { number });
        QCOMPARE(view->ListItems().Item(index).SubItems(1), next);
        record("delete (Sí to row)", t);
        QVERIFY2(question.contains(number), qPrintable(question));
        QCOMPARE(view->ListItems().Count(), int(rows));
        QCOMPARE(db->value("select count(*) from facturas where id = ?", { id }), QStringLiteral("0"));
        QCOMPARE(unattended::problems, 0);
    }

    void printShowsTheList()
    {
        const QString pdf = dir.filePath(QStringLiteral("facturas.pdf"));
        host->setPrintFile(pdf);
        const qint64 t = clock.nsecsElapsed();
        QTest::mouseClick(command(4), Qt::LeftButton);
        record("print to PDF", t);
        QVERIFY(QFileInfo(pdf).size() > 0);

        const QString pdftoppm = QStandardPaths::findExecutable(QStringLiteral("pdftoppm"));
        if (pdftoppm.isEmpty())
            QSKIP("pdftoppm is missing (Debian package poppler-utils): the printed page was not looked at");
        const QString prefix = dir.filePath(QStringLiteral("page"));
        QCOMPARE(
            QProcess::execute(pdftoppm,
                { QStringLiteral("-png"), QStringLiteral("-r"), QStringLiteral("50"), QStringLiteral("-f"),
                    QStringLiteral("1"), QStringLiteral("-l"), QStringLiteral("1"), pdf, prefix }),
            0);
        // pdftoppm pads the page number to the width of the page count.
        const QStringList images = QDir(dir.path()).entryList({ QStringLiteral("page-*.png") });
        QCOMPARE(images.size(), 1);
        const QImage page(dir.filePath(images.first()));
        QVERIFY(!page.isNull());
        // Ink in the top band (title and column captions) and in the band below it (the first rows).
        const auto inked = [&](double from, double to) {
            int lines = 0;
            for (int y = int(from * page.height()); y < int(to * page.height()); ++y)
                for (int x = 0; x < page.width(); ++x)
                    if (qGray(page.pixel(x, y)) < 128) {
                        ++lines;
                        break;
                    }
            return lines;
        };
        QVERIFY2(inked(0, 0.15) >= 6, "no title or column captions");
        QVERIFY2(inked(0.15, 0.35) >= 12, "no rows under the captions");

        const QString pdftotext = QStandardPaths::findExecutable(QStringLiteral("pdftotext"));
        if (pdftotext.isEmpty())
            return;
        QProcess text;
        text.start(pdftotext,
            { QStringLiteral("-f"), QStringLiteral("1"), QStringLiteral("-l"), QStringLiteral("1"), pdf,
                QStringLiteral("-") });
        QVERIFY(text.waitForFinished(60000));
        const QString firstPage = QString::fromUtf8(text.readAllStandardOutput());
        QVERIFY2(firstPage.contains(QStringLiteral("Número")), qPrintable(firstPage.left(400)));
        QVERIFY2(firstPage.contains(view->ListItems().Item(1).SubItems(1)), qPrintable(firstPage.left(400)));
        QVERIFY2(firstPage.contains(QStringLiteral("Página 1 de")), qPrintable(firstPage.left(400)));
    }
};

QTEST_MAIN(tst_DemoHost)
#include "tst_demo_host.moc"
