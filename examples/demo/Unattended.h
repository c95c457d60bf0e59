// SPDX-License-Identifier: MIT
#pragma once
// For runs with nobody to answer a dialog (screenshots, benchmarks): failures and messages go to
// stderr and are counted, the failed procedure is left, and input boxes count as cancelled.

#include <Brennvox10/Brennvox10.h>

#include <QCoreApplication>
#include <QFileInfo>

#include <cstdio>
#include <memory>

namespace unattended {

inline int problems = 0;

class Reporter : public Brennvox10::ErrorReporter {
public:
    qint16 ReportError(
        qint32 &number, QString &description, QString &source, QString &controlText, qint16 &) override
    {
        ++problems;
        std::fprintf(stderr, "failure %d in %s (%s): %s\n", int(number), qPrintable(source),
            qPrintable(controlText), qPrintable(description));
        return 2;
    }
};

class Services : public Brennvox10::Services {
public:
    explicit Services(QString libraryFolder)
        : m_libraryFolder(std::move(libraryFolder))
    {
    }
    void messageBox(const QString &text) override
    {
        ++problems;
        std::fprintf(stderr, "message: %s\n", qPrintable(text));
    }
    std::optional<QString> inputBox(const QString &) override { return std::nullopt; }
    bool fileExists(const QString &path) override
    {
        const QFileInfo info(path);
        return info.isFile() && !info.isHidden();
    }
    QDate today() override { return QDate::currentDate(); }
    QString libraryFolder() override { return m_libraryFolder; }
    void processPendingEvents() override { QCoreApplication::processEvents(); }

private:
    QString m_libraryFolder;
};

inline void install(const QString &libraryFolder = QString())
{
    Brennvox10::installErrorReporter(std::make_unique<Reporter>());
    Brennvox10::installServices(std::make_unique<Services>(libraryFolder));
}

} // namespace unattended
