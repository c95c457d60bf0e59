// brennvox10-demo: a host window with two lists over a sample database: invoices in a record list
// (year and month tabs, one event per command) and clients in a single list (one event for every
// command). It shows what a host does: set the connection and the definition file, call Showme, and
// answer the commands. The commands only appear in the status bar here; a real host would open,
// delete or print the invoice and then keep the list current with lrAddListItem, lrUpdateListItem
// or lrDelListItem.
//
//   brennvox10-demo [--db PATH] [--conf PATH] [--clients-conf PATH] [--tab facturas|clientes]
//                   [--screenshot FILE] [--filter-screenshots PREFIX]
//
// Without --db and the definition options it opens the sample database and definitions beside the
// executable. --screenshot renders the window without a display, writes it as a PNG and exits;
// failures the lists reported meanwhile are printed and make the exit code non-zero.
// --filter-screenshots also clicks the invoices' "Cambiar filtro" and writes each page of the
// filter dialog as PREFIX-1.png and PREFIX-2.png.

#include <Brennvox10/Brennvox10.h>

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QKeyEvent>
#include <QMainWindow>
#include <QMouseEvent>
#include <QPixmap>
#include <QStatusBar>
#include <QTabWidget>
#include <QTimer>
#include <QAbstractItemView>
#include <QHeaderView>

#include "Unattended.h"

#include <cstdio>
#include <cstring>
#include <memory>

namespace {

bool wantsScreenshot(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i)
        if (std::strncmp(argv[i], "--screenshot", 12) == 0
            || std::strncmp(argv[i], "--filter-screenshots", 20) == 0)
            return true;
    return false;
}

// Notes when a widget has been painted.
class PaintWatch : public QObject {
public:
    bool painted = false;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Paint)
            painted = true;
        return QObject::eventFilter(watched, event);
    }
};

// Clicks the list's "Cambiar filtro" as a user would and, while the modal dialog runs, saves each of
// its pages and closes it with "Cerrar".
bool filterScreenshots(Brennvox10::ctlListRecord *list, const QString &prefix)
{
    bool saved = true;
    int pages = 0;
    QTimer::singleShot(0, [&] {
        Brennvox10::frmdlgFilter *dialog = Brennvox10::frmdlgFilter::loaded();
        if (!dialog) {
            std::fprintf(stderr, "brennvox10-demo: the filter dialog did not open\n");
            saved = false;
            return;
        }
        // Page 1 with both conditions on the first field, page 2 on the definition's date field.
        dialog->findChild<QAbstractButton *>(QStringLiteral("Check2"))->click();
        auto *field = dialog->findChild<QComboBox *>(QStringLiteral("Filtro2"));
        const int dateField = field->findText(QStringLiteral("Fecha"));
        while (dateField > field->currentIndex()) {
            QKeyEvent down(QEvent::KeyPress, Qt::Key_Down, Qt::NoModifier);
            QCoreApplication::sendEvent(field, &down);
        }
        auto *strip = dialog->findChild<Brennvox10::TabStrip *>(QStringLiteral("TabStrip1"));
        for (int page = 1; page <= 2; ++page) {
            strip->selectTab(page);
            QCoreApplication::processEvents();
            const QString name = prefix + QStringLiteral("-%1.png").arg(page);
            if (dialog->grab().save(name, "PNG"))
                ++pages;
            else
                std::fprintf(stderr, "brennvox10-demo: cannot write %s\n", qPrintable(name));
        }
        dialog->findChild<QAbstractButton *>(QStringLiteral("CancelButton"))->click();
    });
    QWidget *label = list->findChild<QWidget *>(QStringLiteral("Label2"));
    const QPointF at(label->width() / 2.0, label->height() / 2.0);
    QMouseEvent press(
        QEvent::MouseButtonPress, at, label->mapToGlobal(at), Qt::LeftButton, Qt::LeftButton, {});
    QMouseEvent release(QEvent::MouseButtonRelease, at, label->mapToGlobal(at), Qt::LeftButton, {}, {});
    QCoreApplication::sendEvent(label, &press);
    QCoreApplication::sendEvent(label, &release);
    if (saved && pages == 2)
        std::printf("%s-1.png, %s-2.png: the filter dialog\n", qPrintable(prefix), qPrintable(prefix));
    return saved && pages == 2 && !Brennvox10::frmdlgFilter::loaded();
}

} // namespace

int main(int argc, char **argv)
{
    const bool screenshot = wantsScreenshot(argc, argv);
    if (screenshot && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("brennvox10-demo"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Lists of invoices and clients over a SQLite database."));
    parser.addHelpOption();
    const QString here = QCoreApplication::applicationDirPath();
    QCommandLineOption dbOption(QStringLiteral("db"), QStringLiteral("SQLite database file."),
        QStringLiteral("PATH"), QDir(here).filePath(QStringLiteral("sample.db")));
    QCommandLineOption confOption(QStringLiteral("conf"), QStringLiteral("List definition file."),
        QStringLiteral("PATH"), QDir(here).filePath(QStringLiteral("lrfmt.conf")));
    QCommandLineOption shotOption(QStringLiteral("screenshot"),
        QStringLiteral("Render offscreen, save the window as PNG and exit."), QStringLiteral("FILE"));
    QCommandLineOption filterShotOption(QStringLiteral("filter-screenshots"),
        QStringLiteral("Also open the filter dialog and save each page as PREFIX-1.png, PREFIX-2.png."),
        QStringLiteral("PREFIX"));
    QCommandLineOption clientsOption(QStringLiteral("clients-conf"),
        QStringLiteral("List definition file of the clients' list."), QStringLiteral("PATH"),
        QDir(here).filePath(QStringLiteral("clientes.conf")));
    QCommandLineOption tabOption(QStringLiteral("tab"),
        QStringLiteral("The tab shown first: facturas or clientes."), QStringLiteral("NAME"));
    parser.addOptions({ dbOption, confOption, clientsOption, tabOption, shotOption, filterShotOption });
    parser.process(app);

    if (screenshot) {
        unattended::install(QCoreApplication::applicationDirPath());
    }

    QMainWindow window;
    window.setWindowTitle(QStringLiteral("Brennvox10 demo"));
    auto *tabs = new QTabWidget(&window);
    window.setCentralWidget(tabs);
    window.statusBar()->showMessage(QStringLiteral("Listo"));

    // Invoices: a record list with year and month tabs and one event per command.
    auto *list = new Brennvox10::ctlListRecord;
    list->setObjectName(QStringLiteral("ctlListRecord1"));
    tabs->addTab(list, QStringLiteral("Facturas"));
    // The list's design height, and wider than its design width so that nine columns stay readable.
    // Column widths follow the width the list has at Showme.
    Brennvox10::setTwipsSize(list, 12600, 5925);

    const auto report = [&window](const char *command) {
        return [&window, command](QString &pItem) {
            window.statusBar()->showMessage(QLatin1String(command) + QLatin1Char(' ') + pItem);
        };
    };
    QObject::connect(list, &Brennvox10::ctlListRecord::cmdAdd, &window, report("cmdAdd"));
    QObject::connect(list, &Brennvox10::ctlListRecord::cmdOpen, &window, report("cmdOpen"));
    QObject::connect(list, &Brennvox10::ctlListRecord::cmdDel, &window, report("cmdDel"));
    QObject::connect(list, &Brennvox10::ctlListRecord::cmdPrint, &window, report("cmdPrint"));
    QObject::connect(list, &Brennvox10::ctlListRecord::cmdRecodificar, &window, report("cmdRecodificar"));
    QObject::connect(list, &Brennvox10::ctlListRecord::cmdAnular, &window, report("cmdAnular"));
    QObject::connect(list, &Brennvox10::ctlListRecord::ClickMenuContextual, &window, [&window, list] {
        window.statusBar()->showMessage(QStringLiteral("ClickMenuContextual ") + list->lrSelectedKey());
    });
    QObject::connect(list, &Brennvox10::ctlListRecord::cmdClose, &window, &QWidget::close);

    // Clients: a single list, every command through one event that carries its key.
    auto *clients = new Brennvox10::ctlListSingle;
    clients->setObjectName(QStringLiteral("ctlListSingle1"));
    tabs->addTab(clients, QStringLiteral("Clientes"));
    QObject::connect(
        clients, &Brennvox10::ctlListSingle::cmdClick, &window, [&window](QString &key, QString &item) {
            if (key == QLatin1String("Close"))
                window.close();
            else
                window.statusBar()->showMessage(QStringLiteral("cmdClick ") + key + QLatin1Char(' ') + item);
        });

    for (Brennvox10::ListControl *control :
        { static_cast<Brennvox10::ListControl *>(list), static_cast<Brennvox10::ListControl *>(clients) }) {
        control->lrConnectionString(QStringLiteral("Provider=SQLite;Data Source="));
        control->lrDataSource(parser.value(dbOption));
    }
    list->lrConfigFileName(parser.value(confOption));
    clients->lrConfigFileName(parser.value(clientsOption));
    if (parser.value(tabOption) == QLatin1String("clientes"))
        tabs->setCurrentWidget(clients);

    window.resize(
        tabs->sizeHint().width(), tabs->sizeHint().height() + window.statusBar()->sizeHint().height());
    window.show();
    list->Showme();
    clients->Showme();

    if (!screenshot)
        return app.exec();

    const QString file = parser.value(shotOption);
    const QString filterPrefix = parser.value(filterShotOption);
    if (file.isEmpty() && filterPrefix.isEmpty()) {
        std::fprintf(stderr, "brennvox10-demo: --screenshot needs a file name\n");
        return 2;
    }
    if (!filterPrefix.isEmpty() && !filterScreenshots(list, filterPrefix))
        return 1;
    if (file.isEmpty())
        return unattended::problems == 0 ? 0 : 3;
    // The window is grabbed only once the list itself has been painted with its rows.
    PaintWatch watch;
    auto *shown = tabs->currentWidget()->findChild<Brennvox10::ListView *>(QStringLiteral("ListView1"));
    QWidget *viewport = shown->itemView()->viewport();
    viewport->installEventFilter(&watch);
    viewport->update();
    QElapsedTimer waited;
    waited.start();
    while (!watch.painted && waited.elapsed() < 10000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    QCoreApplication::processEvents();
    if (!watch.painted)
        std::fprintf(stderr, "brennvox10-demo: the list was never painted\n");

    if (!window.grab().save(file, "PNG")) {
        std::fprintf(stderr, "brennvox10-demo: cannot write %s\n", qPrintable(file));
        return 1;
    }
    std::printf("%s: %d rows shown\n", qPrintable(file), shown->ListItems().Count());
    return unattended::problems == 0 && watch.painted ? 0 : 3;
}
