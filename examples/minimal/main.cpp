// SPDX-License-Identifier: MIT
// The smallest host: a window with one record list over a SQLite database and a list definition.
//   minimal DB CONF                    shows the window until it is closed
//   minimal DB CONF --screenshot FILE  saves the window as an image and quits
#include <Brennvox10/Brennvox10.h>

#include <QApplication>
#include <QMainWindow>
#include <QMessageBox>
#include <QStatusBar>
#include <QTimer>

#include <cstdio>
#include <cstring>

int main(int argc, char **argv)
{
    QApplication app(argc, argv); // takes Qt's own options (-platform ...) out of argv
    if (argc != 3 && !(argc == 5 && std::strcmp(argv[3], "--screenshot") == 0)) {
        std::fprintf(stderr, "usage: %s DB CONF [--screenshot FILE]\n", argv[0]);
        return 2;
    }
    QMainWindow window;
    auto *list = new Brennvox10::ctlListRecord(&window);
    window.setCentralWidget(list);
    list->lrConnectionString(QStringLiteral("Provider=SQLite;Data Source="));
    list->lrDataSource(QString::fromLocal8Bit(argv[1]));
    list->lrConfigFileName(QString::fromLocal8Bit(argv[2]));
    // The host does what a command means; here Open only names the row.
    QObject::connect(list, &Brennvox10::ctlListRecord::cmdOpen, &window, [&window](QString &pItem) {
        QMessageBox::information(&window, QStringLiteral("Open"), QStringLiteral("Row %1").arg(pItem));
    });
    window.resize(900, 600);
    window.show();
    list->Showme();
    const int rows = list->ActiveListView()->ListItems().Count();
    window.statusBar()->showMessage(QStringLiteral("%1 rows").arg(rows));
    std::printf("%d rows\n", rows);
    if (argc == 5) // once the event loop has laid out and painted the rows
        QTimer::singleShot(500, &app, [&] { app.exit(window.grab().save(QString::fromLocal8Bit(argv[4])) ? 0 : 1); });
    return app.exec();
}
