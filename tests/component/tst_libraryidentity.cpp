// SPDX-License-Identifier: MIT
// What the library says about itself: its version table, read in the program and from the file by
// brennvox10-info (which must also refuse damaged files without reading past them), and its toolbox
// pictures.

#include "support/Fixtures.h"
#include "support/Rows.h"

#include <Brennvox10/Brennvox10.h>

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QStringList Table = { "FixedFileVersion: 1.0.0.1", "FixedProductVersion: 1.0.0.1", "Language: 0x0409",
    "CodePage: 0x04b0", "ProductName: Brennvox10", "FileVersion: 1.00.0001", "ProductVersion: 1.00.0001",
    "InternalName: Brennvox10", "OriginalFilename: Brennvox10.ocx", "OLESelfRegister: " };

struct Run {
    int exitCode;
    QStringList out;
    QString err;
};

Run info(const QString &file)
{
    QProcess p;
    p.start(QStringLiteral(BV_INFO_TOOL), { file });
    p.waitForFinished();
    return { p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1,
        QString::fromUtf8(p.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts),
        QString::fromUtf8(p.readAllStandardError()) };
}

} // namespace

class tst_libraryidentity : public QObject {
    Q_OBJECT

    QTemporaryDir dir;

private Q_SLOTS:
    void versionInProgramAndFile()
    {
        QCOMPARE(Brennvox10::libraryVersion(), QStringLiteral("1.00.0001"));
        const Run r = info(QStringLiteral(BV_LIBRARY_FILE));
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, Table);
    }

    void damagedFiles_data()
    {
        columns<QByteArray, QString>("bytes", "message");
        const QByteArray library = readBytes(QStringLiteral(BV_LIBRARY_FILE));
        QByteArray badMagic = library;
        for (qsizetype at = 0; (at = badMagic.indexOf("BVXVERS1", at)) >= 0;)
            badMagic[at] = 'X';
        // Section headers sit at the end of the file: cut them off.
        QTest::addRow("not ELF") << QByteArray("#!/bin/sh\necho\n") << "not an ELF file";
        QTest::addRow("empty") << QByteArray() << "not an ELF file";
        QTest::addRow("cut short") << library.left(library.size() / 2) << "damaged";
        QTest::addRow("no table") << readBytes(QStringLiteral(BV_INFO_TOOL)) << "no Brennvox10 version table";
        QTest::addRow("table damaged") << badMagic << "damaged version table";
    }
    void damagedFiles()
    {
        const auto [bytes, message] = fetch<QByteArray, QString>("bytes", "message");
        const Run r = info(writeBytes(dir.filePath(QStringLiteral("file.so")), bytes));
        QCOMPARE(r.exitCode, 1);
        QCOMPARE(r.out, QStringList());
        QVERIFY2(r.err.contains(message), qPrintable(r.err));
    }

    void toolboxPictures_data()
    {
        columns<int, bool>("id", "exists");
        for (int id : { 29999, 30000, 30001, 30002, 30003, 30004, 0 })
            QTest::addRow("%d", id) << id << (id >= 30000 && id <= 30003);
    }
    void toolboxPictures()
    {
        const auto [id, exists] = fetch<int, bool>("id", "exists");
        const QPixmap picture = Brennvox10::toolboxPicture(id);
        QCOMPARE(picture.isNull(), !exists);
        if (!exists)
            return;
        // Stored as 16 colours, 4 bits a pixel, uncompressed (BI_RGB).
        const QByteArray bmp = readBytes(QStringLiteral(":/brennvox10/toolbox/%1.bmp").arg(id));
        QVERIFY(bmp.startsWith("BM"));
        QCOMPARE(qFromLittleEndian<quint16>(bmp.constData() + 28), quint16(4));
        QCOMPARE(qFromLittleEndian<quint32>(bmp.constData() + 30), quint32(0));

        const QImage image = picture.toImage();
        QCOMPARE(image.size(), QSize(16, 15));
        QCOMPARE(image, Brennvox10::toolboxPicture(30000).toImage());
        // Upright: the window's blue title bar at the top, its black frame, and plain ground below.
        QCOMPARE(image.pixelColor(5, 1), QColor(0, 0, 255));
        QCOMPARE(image.pixelColor(0, 0), QColor(Qt::black));
        QCOMPARE(image.pixelColor(0, 14), QColor(192, 192, 192));
    }
};

QTEST_MAIN(tst_libraryidentity)
#include "tst_libraryidentity.moc"
