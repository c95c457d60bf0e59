// brennvox10-demo: a host window around one record list of invoices. It shows what a host does:
// set the connection and the definition file, call Showme, and answer the list's commands. The
// commands only appear in the status bar here; a real host would open, delete or print the invoice
// and then keep the list current with lrAddListItem, lrUpdateListItem or lrDelListItem.
//
//   brennvox10-demo [--db PATH] [--conf PATH] [--screenshot FILE] [--filter-screenshots PREFIX]
//
// Without --db and --conf it opens the sample database and definition beside the executable.
// --screenshot renders the window without a display, writes it as a PNG and exits; failures the
// list reported meanwhile are printed and make the exit code non-zero. --filter-screenshots also
// clicks "Cambiar filtro" and writes each page of the filter dialog as PREFIX-1.png and PREFIX-2.png.

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
#include <QTimer>
#include <QTreeView>

#include "Unattended.h"

#include <cstdio>
#include <cstring>
#include <memory>

namespace {

bool wantsScreenshot(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i)
        if (std::strncmp(argv[i], "--screenshot", 12) == 0 || std::strncmp(argv[i], "--filter-screenshots", 20) == 0)
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
    QMouseEvent press(QEvent::MouseButtonPress, at, label->mapToGlobal(at), Qt::LeftButton, Qt::LeftButton, {});
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
    parser.setApplicationDescription(QStringLiteral("Record list of invoices over a SQLite database."));
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
    parser.addOptions({ dbOption, confOption, shotOption, filterShotOption });
    parser.process(app);

    if (screenshot) {
        unattended::install(QCoreApplication::applicationDirPath());
    }

    QMainWindow window;
    window.setWindowTitle(QStringLiteral("Brennvox10 demo"));
    auto *list = new Brennvox10::ctlListRecord(&window);
    list->setObjectName(QStringLiteral("ctlListRecord1"));
    window.setCentralWidget(list);
    window.statusBar()->showMessage(QStringLiteral("Listo"));

    // The list's design height, and wider than its design width so that nine columns stay readable;
    // the window adds its status bar below. Column widths follow the width the list has at Showme.
    Brennvox10::setTwipsSize(list, 12600, 5925);
    window.resize(list->size().width(), list->size().height() + window.statusBar()->sizeHint().height());

    auto report = [&window](const char *command) {
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

    list->lrConnectionString(QStringLiteral("Provider=SQLite;Data Source="));
    list->lrDataSource(parser.value(dbOption));
    list->lrConfigFileName(parser.value(confOption));

    window.show();
    list->Showme();

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
    QWidget *viewport = list->ActiveListView()->treeView()->viewport();
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
    std::printf("%s: %d rows shown\n", qPrintable(file), list->ActiveListView()->ListItems().Count());
    return unattended::problems == 0 && watch.painted ? 0 : 3;
}
