// SPDX-License-Identifier: MIT
#pragma once
// Test doubles for the platform seams: a reporter that records every report and plays back answers,
// and services that record messages and answer input boxes from a script.

#include <Brennvox10/ErrorReporter.h>
#include <Brennvox10/Services.h>

#include <QFileInfo>
#include <QList>
#include <QStringList>

#include <deque>
#include <memory>

struct Report {
    qint32 number;
    QString description;
    QString source;
    QString control;
};

struct ReporterLog {
    QList<Report> reports;
    std::deque<qint16> answers; // played in order; when empty, defaultAnswer
    qint16 defaultAnswer = 2;

    QList<qint32> numbers() const
    {
        QList<qint32> out;
        for (const Report &r : reports)
            out << r.number;
        return out;
    }
    QStringList described() const // "number description" each
    {
        QStringList out;
        for (const Report &r : reports)
            out << QString::number(r.number) + QLatin1Char(' ') + r.description;
        return out;
    }
};

class ScriptedReporter : public Brennvox10::ErrorReporter {
public:
    explicit ScriptedReporter(std::shared_ptr<ReporterLog> log) : m_log(std::move(log)) { }
    qint16 ReportError(
        qint32 &number, QString &description, QString &source, QString &controlText, qint16 &flag) override
    {
        Q_ASSERT(flag == 0);
        m_log->reports.append({ number, description, source, controlText });
        if (m_log->answers.empty())
            return m_log->defaultAnswer;
        const qint16 a = m_log->answers.front();
        m_log->answers.pop_front();
        return a;
    }

private:
    std::shared_ptr<ReporterLog> m_log;
};

// Installs a fresh scripted reporter on this thread and returns its log.
inline std::shared_ptr<ReporterLog> scriptReporter(qint16 defaultAnswer = 2)
{
    auto log = std::make_shared<ReporterLog>();
    log->defaultAnswer = defaultAnswer;
    Brennvox10::installErrorReporter(std::make_unique<ScriptedReporter>(log));
    return log;
}

struct ServicesLog {
    QStringList messages;
    QStringList prompts;
    std::deque<std::optional<QString>> inputs;
    QString libraryFolder;
};

class ScriptedServices : public Brennvox10::Services {
public:
    explicit ScriptedServices(std::shared_ptr<ServicesLog> log) : m_log(std::move(log)) { }
    void messageBox(const QString &text) override { m_log->messages << text; }
    std::optional<QString> inputBox(const QString &prompt) override
    {
        m_log->prompts << prompt;
        std::optional<QString> answer;
        if (!m_log->inputs.empty()) {
            answer.swap(m_log->inputs.front());
            m_log->inputs.pop_front();
        }
        return answer;
    }
    bool fileExists(const QString &path) override
    {
        return !path.isEmpty() && QFileInfo(path).isFile() && !QFileInfo(path).isHidden();
    }
    QDate today() override { return QDate(2024, 2, 29); }
    QString libraryFolder() override { return m_log->libraryFolder; }
    void processPendingEvents() override { }

private:
    std::shared_ptr<ServicesLog> m_log;
};

inline std::shared_ptr<ServicesLog> scriptServices(const QString &libraryFolder = QString())
{
    auto log = std::make_shared<ServicesLog>();
    log->libraryFolder = libraryFolder;
    Brennvox10::installServices(std::make_unique<ScriptedServices>(log));
    return log;
}
