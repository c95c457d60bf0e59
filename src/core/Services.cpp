// SPDX-License-Identifier: MIT
#include "core/Services_p.h"

#include <Brennvox10/Services.h>

#include <QApplication>
#include <QCoreApplication>
#include <QFileInfo>
#include <QGuiApplication>
#include <QInputDialog>
#include <QLoggingCategory>
#include <QMessageBox>

#include <dlfcn.h>

Q_LOGGING_CATEGORY(lcServices, "brennvox.services")

namespace Brennvox10 {

Services::~Services() = default;

bool interactive()
{
    if (!qobject_cast<QApplication *>(QCoreApplication::instance()))
        return false;
    const QString platform = QGuiApplication::platformName();
    return platform != QLatin1String("offscreen") && platform != QLatin1String("minimal");
}

namespace {

// Where nobody can answer, boxes are logged and an input box counts as cancelled.
class QtServices final : public Services {
public:
    void messageBox(const QString &text) override
    {
        if (!interactive()) {
            qCInfo(lcServices).noquote() << "message:" << text;
            return;
        }
        QMessageBox box(
            QMessageBox::NoIcon, QGuiApplication::applicationDisplayName(), text, QMessageBox::Ok);
        box.exec();
    }

    std::optional<QString> inputBox(const QString &prompt) override
    {
        if (!interactive()) {
            qCInfo(lcServices).noquote() << "input box (no answer possible):" << prompt;
            return std::nullopt;
        }
        bool ok = false;
        const QString text = QInputDialog::getText(
            nullptr, QGuiApplication::applicationDisplayName(), prompt, QLineEdit::Normal, QString(), &ok);
        if (!ok)
            return std::nullopt;
        return text;
    }

    bool fileExists(const QString &path) override
    {
        if (path.isEmpty())
            return false;
        const QFileInfo info(path);
        return info.isFile() && !info.isHidden();
    }

    QDate today() override { return QDate::currentDate(); }

    QString libraryFolder() override
    {
        Dl_info info {};
        if (dladdr(reinterpret_cast<const void *>(&installServices), &info) && info.dli_fname)
            return QFileInfo(QString::fromLocal8Bit(info.dli_fname)).absolutePath();
        return QCoreApplication::applicationDirPath();
    }

    void processPendingEvents() override { QCoreApplication::processEvents(); }
};

std::unique_ptr<Services> &slot()
{
    static std::unique_ptr<Services> s = std::make_unique<QtServices>();
    return s;
}

} // namespace

void installServices(std::unique_ptr<Services> services)
{
    slot() = services ? std::move(services) : std::make_unique<QtServices>();
}

Services &services()
{
    return *slot();
}

} // namespace Brennvox10
