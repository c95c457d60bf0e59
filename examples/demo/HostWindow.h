// SPDX-License-Identifier: MIT
#pragma once
// The demo host: a window with the invoices in a record list and the clients in a single list, over
// one SQLite database. It answers the invoices' commands as an invoicing program would: a form to add
// or change an invoice, confirmations before deleting or voiding, a new key for recoding, printing,
// and a context menu with the same commands. Every write is the host's own; afterwards it tells the
// list which row changed.

#include "InvoiceStore.h"
#include "ListPrinter.h"

#include <QMainWindow>

#include <memory>

class QTabWidget;

namespace Brennvox10 {
class ctlListRecord;
class ctlListSingle;
}

struct HostOptions {
    QString db; // the SQLite file, or for another provider the data source it takes
    QString conf;
    QString clientsConf;
    bool startOnClients = false;
    // The lists' connection; the host edits invoices only in its own SQLite sample.
    QString connection = QStringLiteral("Provider=SQLite;Data Source=");
    QString password;
    bool editable() const { return connection.startsWith(QLatin1String("Provider=SQLite;")); }
};

// A database of exactly rows invoices in folder (reused when one made for that count is there), and a
// copy of baseConf whose line limit shows them all. error is empty on success.
struct LargeSample {
    QString db, conf, error;
    bool generated = false;
    qint64 milliseconds = 0;
};
LargeSample prepareLargeSample(const QString &folder, long rows, const QString &baseConf);

class HostWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit HostWindow(const HostOptions &options, QWidget *parent = nullptr);
    ~HostWindow() override;

    // Loads both lists; call once the window is shown.
    void showLists();

    Brennvox10::ctlListRecord *invoices() const { return m_invoices; }
    Brennvox10::ctlListSingle *clients() const { return m_clients; }
    QTabWidget *tabs() const { return m_tabs; }

    // Where "Imprimir" writes its PDF without asking anyone; empty asks for a file when there is no
    // printer.
    void setPrintFile(const QString &path) { m_printFile = path; }
    PrintOutcome printToPdf(const QString &path);

    // The commands, each on the key the list gives (its selected row).
    void addInvoice();
    void openInvoice(const QString &key);
    void deleteInvoice(const QString &key);
    void printInvoices();
    void recodeInvoice(const QString &key);
    void voidInvoice(const QString &key);
    void showContextMenu();

private:
    InvoiceStore &store();
    bool mayEdit();
    std::optional<Invoice> chosen(const QString &key);
    bool confirm(const QString &title, const QString &text);
    void tell(const QString &title, const QString &text, bool problem = false);
    void reveal(qint64 id);
    QString printTitle() const;

    HostOptions m_options;
    QTabWidget *m_tabs;
    Brennvox10::ctlListRecord *m_invoices;
    Brennvox10::ctlListSingle *m_clients;
    std::unique_ptr<InvoiceStore> m_store;
    QString m_printFile;
};
