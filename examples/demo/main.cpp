// SPDX-License-Identifier: MIT
// brennvox10-demo: an invoicing host over a sample database. "Facturas" is a record list (year and
// month tabs, one event per command) whose commands the host answers as an invoicing program would:
// Adicionar and Abrir (or a double click) open a form and write the invoice, Eliminar and Anular ask
// first, Recodificar gives the invoice a new key, Imprimir prints the list as shown (to a PDF file
// where there is no printer), and the right mouse button offers the same commands. The host does
// every write itself and then tells the list which row changed. "Clientes" is a single list (one
// event for every command), whose commands only appear in the status bar. The window is HostWindow.
//
//   brennvox10-demo [--db PATH] [--conf PATH] [--clients-conf PATH] [--tab facturas|clientes]
//                   [--rows N] [--provider sqlite|postgres|jet]
//                   [--screenshot FILE] [--filter-screenshots PREFIX] [--print-pdf FILE] [--dark]
//
// Without --db and the definition options it opens the sample database and definitions beside the
// executable. --rows N uses a database of N invoices instead, made in the user's cache folder the
// first time (a million take a few seconds) and reused after, with a copy of the definition whose
// line limit shows them all. --screenshot renders the window without a display, writes it as a PNG
// and exits; failures the lists reported meanwhile are printed and make the exit code non-zero.
// --filter-screenshots also clicks the invoices' "Cambiar filtro" and writes each page of the filter
// dialog as PREFIX-1.png and PREFIX-2.png. --print-pdf prints the invoices as listed into FILE and
// exits, as --screenshot does. --provider postgres starts a PostgreSQL server of its own in a
// temporary folder, copies the SQLite database into it, shows the lists from there (read-only: the
// host edits only its SQLite sample) and stops the server when the window closes. A .mdb file given
// with --db (or --provider jet) is read as a Jet file; its password comes from the environment
// variable BRENNVOX10_JET_PASSWORD, and the definitions given with --conf and --clients-conf must
// name its tables. --dark shows everything in a dark palette (the library draws with palette colours
// only, so a dark desktop theme looks the same).

#include "HostWindow.h"
#include "LocalServer.h"
#include "Unattended.h"

#include <Brennvox10/Brennvox10.h>

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPalette>
#include <QPixmap>
#include <QSocketNotifier>
#include <QStandardPaths>
#include <QTabWidget>
#include <QTimer>

#include <csignal>
#include <cstdio>
#include <cstring>

#include <sys/socket.h>
#include <unistd.h>

namespace {

bool unattendedRun(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i)
        if (std::strncmp(argv[i], "--screenshot", 12) == 0
            || std::strncmp(argv[i], "--filter-screenshots", 20) == 0
            || std::strncmp(argv[i], "--print-pdf", 11) == 0)
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

// Ctrl-C or a kill ends the event loop rather than the process, so that the server we started is
// stopped by its destructor. The handler only writes a byte; the loop reads it.
int signalPipe[2] = { -1, -1 };

void quitOnSignals(QObject *owner)
{
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) != 0)
        return;
    auto *notifier = new QSocketNotifier(signalPipe[1], QSocketNotifier::Read, owner);
    QObject::connect(notifier, &QSocketNotifier::activated, owner, [] {
        char byte;
        if (::read(signalPipe[1], &byte, 1) == 1)
            QCoreApplication::quit();
    });
    for (int number : { SIGINT, SIGTERM, SIGHUP })
        std::signal(number, [](int) {
            const char byte = 1;
            [[maybe_unused]] const auto written = ::write(signalPipe[0], &byte, 1);
        });
}

// A dark palette such as dark desktop themes give; every role a widget may paint with is set.
QPalette darkPalette()
{
    QPalette p;
    const QColor window(0x2b, 0x2b, 0x2b), base(0x1e, 0x1e, 0x1e), text(0xe8, 0xe8, 0xe8);
    const QColor disabled(0x80, 0x80, 0x80);
    p.setColor(QPalette::Window, window);
    p.setColor(QPalette::WindowText, text);
    p.setColor(QPalette::Base, base);
    p.setColor(QPalette::AlternateBase, window);
    p.setColor(QPalette::ToolTipBase, base);
    p.setColor(QPalette::ToolTipText, text);
    p.setColor(QPalette::PlaceholderText, disabled);
    p.setColor(QPalette::Text, text);
    p.setColor(QPalette::Button, QColor(0x35, 0x35, 0x35));
    p.setColor(QPalette::ButtonText, text);
    p.setColor(QPalette::BrightText, QColor(0xff, 0x80, 0x80));
    p.setColor(QPalette::Light, QColor(0x50, 0x50, 0x50));
    p.setColor(QPalette::Midlight, QColor(0x40, 0x40, 0x40));
    p.setColor(QPalette::Mid, QColor(0x30, 0x30, 0x30));
    p.setColor(QPalette::Dark, QColor(0x18, 0x18, 0x18));
    p.setColor(QPalette::Shadow, Qt::black);
    p.setColor(QPalette::Highlight, QColor(0x2f, 0x65, 0xca));
    p.setColor(QPalette::HighlightedText, Qt::white);
    p.setColor(QPalette::Link, QColor(0x6c, 0xa8, 0xff));
    p.setColor(QPalette::LinkVisited, QColor(0xb0, 0x8c, 0xff));
    for (const auto role : { QPalette::WindowText, QPalette::Text, QPalette::ButtonText })
        p.setColor(QPalette::Disabled, role, disabled);
    return p;
}

} // namespace

int main(int argc, char **argv)
{
    const bool unattendedMode = unattendedRun(argc, argv);
    if (unattendedMode && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
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
    QCommandLineOption rowsOption(QStringLiteral("rows"),
        QStringLiteral("Use a sample of N invoices, made in the cache folder once (instead of --db)."),
        QStringLiteral("N"));
    QCommandLineOption pdfOption(QStringLiteral("print-pdf"),
        QStringLiteral("Render offscreen, print the invoices as listed into FILE and exit."),
        QStringLiteral("FILE"));
    QCommandLineOption providerOption(QStringLiteral("provider"),
        QStringLiteral("sqlite (the default), postgres (a server of its own, with the database copied in) or jet "
                       "(a Jet .mdb file given with --db; chosen by itself for a .mdb file)."),
        QStringLiteral("NAME"), QStringLiteral("sqlite"));
    QCommandLineOption darkOption(QStringLiteral("dark"), QStringLiteral("Show everything in a dark palette."));
    parser.addOptions({ dbOption, confOption, clientsOption, tabOption, rowsOption, providerOption, shotOption,
        filterShotOption, pdfOption, darkOption });
    parser.process(app);
    if (parser.isSet(darkOption)) {
        QApplication::setStyle(QStringLiteral("Fusion"));
        QApplication::setPalette(darkPalette());
    }

    if (unattendedMode)
        unattended::install(QCoreApplication::applicationDirPath());

    HostOptions options;
    options.db = parser.value(dbOption);
    options.conf = parser.value(confOption);
    options.clientsConf = parser.value(clientsOption);
    options.startOnClients = parser.value(tabOption) == QLatin1String("clientes");
    if (parser.isSet(rowsOption)) {
        bool numeric = false;
        const long rows = parser.value(rowsOption).toLong(&numeric);
        if (!numeric || rows <= 0) {
            std::fprintf(stderr, "brennvox10-demo: --rows needs a positive whole number\n");
            return 2;
        }
        const LargeSample sample = prepareLargeSample(
            QStandardPaths::writableLocation(QStandardPaths::CacheLocation), rows, options.conf);
        if (!sample.error.isEmpty()) {
            std::fprintf(stderr, "brennvox10-demo: %s\n", qPrintable(sample.error));
            return 1;
        }
        if (sample.generated)
            std::printf("%s: %ld invoices written in %lld ms\n", qPrintable(sample.db), rows,
                static_cast<long long>(sample.milliseconds));
        options.db = sample.db;
        options.conf = sample.conf;
    }

    QString provider = parser.value(providerOption).toLower();
    if (!parser.isSet(providerOption) && options.db.endsWith(QLatin1String(".mdb"), Qt::CaseInsensitive))
        provider = QStringLiteral("jet");
    LocalServer server;
    if (provider == QLatin1String("postgres") || provider == QLatin1String("postgresql")) {
        QElapsedTimer clock;
        clock.start();
        if (!server.start() || !server.copySqlite(options.db, QStringLiteral("tienda"))) {
            std::fprintf(stderr, "brennvox10-demo: PostgreSQL: %s\n", qPrintable(server.error()));
            return 1;
        }
        options.db = server.writeConnectionFile(QStringLiteral("tienda"));
        options.connection = QStringLiteral("Provider=PostgreSQL;Data Source=");
        options.password = QLatin1String(LocalServer::password);
        std::printf("PostgreSQL server in %s, sample copied in %lld ms; connection file %s\n",
            qPrintable(server.folder()), static_cast<long long>(clock.elapsed()), qPrintable(options.db));
        std::fflush(stdout);
        quitOnSignals(&app);
    } else if (provider == QLatin1String("jet")) {
        options.connection = QStringLiteral("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=");
        options.password = qEnvironmentVariable("BRENNVOX10_JET_PASSWORD");
    } else if (provider != QLatin1String("sqlite")) {
        std::fprintf(stderr, "brennvox10-demo: --provider is sqlite, postgres or jet\n");
        return 2;
    }

    HostWindow window(options);
    window.show();
    window.showLists();

    if (!unattendedMode)
        return app.exec();

    const QString file = parser.value(shotOption);
    const QString filterPrefix = parser.value(filterShotOption);
    const QString pdf = parser.value(pdfOption);
    if (file.isEmpty() && filterPrefix.isEmpty() && pdf.isEmpty()) {
        std::fprintf(stderr, "brennvox10-demo: --screenshot and --print-pdf need a file name\n");
        return 2;
    }
    if (!pdf.isEmpty()) {
        const PrintOutcome printed = window.printToPdf(pdf);
        if (!printed.ok) {
            std::fprintf(stderr, "brennvox10-demo: cannot write %s\n", qPrintable(pdf));
            return 1;
        }
        std::printf("%s: %d of %d rows on %d pages\n", qPrintable(pdf), printed.rowsPrinted,
            printed.rowsShown, printed.pages);
    }
    if (!filterPrefix.isEmpty() && !filterScreenshots(window.invoices(), filterPrefix))
        return 1;
    if (file.isEmpty())
        return unattended::problems == 0 ? 0 : 3;
    // The window is grabbed only once the list itself has been painted with its rows.
    PaintWatch watch;
    auto *shown
        = window.tabs()->currentWidget()->findChild<Brennvox10::ListView *>(QStringLiteral("ListView1"));
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
