// SPDX-License-Identifier: MIT
#include "HostWindow.h"

#include "InvoiceForm.h"
#include "SampleData.h"

#include <Brennvox10/Brennvox10.h>

#include <QAbstractItemView>
#include <QApplication>
#include <QCursor>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileDialog>
#include <QInputDialog>
#include <QMenu>
#include <QMessageBox>
#include <QPageLayout>
#include <QPrintDialog>
#include <QPrinter>
#include <QPrinterInfo>
#include <QPushButton>
#include <QRegularExpression>
#include <QSaveFile>
#include <QStandardPaths>
#include <QStatusBar>
#include <QTabWidget>

#include <limits>

using namespace Brennvox10;

LargeSample prepareLargeSample(const QString &folder, long rows, const QString &baseConf)
{
    LargeSample made;
    if (!QDir().mkpath(folder)) {
        made.error = QStringLiteral("No se puede crear la carpeta %1.").arg(folder);
        return made;
    }
    made.db = QDir(folder).filePath(QStringLiteral("facturas-%1.db").arg(rows));
    made.conf = QDir(folder).filePath(QStringLiteral("facturas-%1.conf").arg(rows));
    // Made for that count, not holding it: invoices the user added or deleted since are kept.
    if (sample::generatedCount(QFile::encodeName(made.db).toStdString()) != rows) {
        QElapsedTimer timer;
        timer.start();
        try {
            sample::writeDatabase(QFile::encodeName(made.db).toStdString(), rows);
        } catch (const std::exception &e) {
            made.error
                = QStringLiteral("No se pudo crear %1: %2").arg(made.db, QString::fromLocal8Bit(e.what()));
            return made;
        }
        made.generated = true;
        made.milliseconds = timer.elapsed();
    }
    // The same definition with a line limit that lets every row in.
    QFile base(baseConf);
    if (!base.open(QIODevice::ReadOnly)) {
        made.error = QStringLiteral("No se puede leer la definición %1.").arg(baseConf);
        return made;
    }
    QString text = QString::fromUtf8(base.readAll());
    text.replace(QRegularExpression(QStringLiteral("ListMaxLineas=\"[^\"]*\"")),
        QStringLiteral("ListMaxLineas=\"%1\"").arg(qMax(rows, 1000L)));
    QSaveFile conf(made.conf);
    if (!conf.open(QIODevice::WriteOnly) || conf.write(text.toUtf8()) < 0 || !conf.commit())
        made.error = QStringLiteral("No se puede escribir la definición %1.").arg(made.conf);
    return made;
}

HostWindow::HostWindow(const HostOptions &options, QWidget *parent)
    : QMainWindow(parent)
    , m_options(options)
    , m_tabs(new QTabWidget(this))
    , m_invoices(new ctlListRecord)
    , m_clients(new ctlListSingle)
{
    setWindowTitle(QStringLiteral("Brennvox10 demo"));
    setCentralWidget(m_tabs);
    statusBar()->showMessage(QStringLiteral("Listo"));

    // Invoices: a record list with year and month tabs and one event per command.
    m_invoices->setObjectName(QStringLiteral("ctlListRecord1"));
    m_tabs->addTab(m_invoices, QStringLiteral("Facturas"));
    // The list's design height, and wider than its design width so that nine columns stay readable.
    // Column widths follow the width the list has at Showme.
    setTwipsSize(m_invoices, 12600, 5925);

    // The handlers take the key by value: the list's own key may change while a dialog is open.
    connect(m_invoices, &ctlListRecord::cmdAdd, this, [this](QString &) { addInvoice(); });
    connect(m_invoices, &ctlListRecord::cmdOpen, this, [this](QString &key) { openInvoice(QString(key)); });
    connect(m_invoices, &ctlListRecord::cmdDel, this, [this](QString &key) { deleteInvoice(QString(key)); });
    connect(m_invoices, &ctlListRecord::cmdPrint, this, [this](QString &) { printInvoices(); });
    connect(m_invoices, &ctlListRecord::cmdRecodificar, this,
        [this](QString &key) { recodeInvoice(QString(key)); });
    connect(m_invoices, &ctlListRecord::cmdAnular, this, [this](QString &key) { voidInvoice(QString(key)); });
    connect(m_invoices, &ctlListRecord::ClickMenuContextual, this, &HostWindow::showContextMenu);
    connect(m_invoices, &ctlListRecord::cmdClose, this, &QWidget::close);

    // Clients: a single list, every command through one event that carries its key.
    m_clients->setObjectName(QStringLiteral("ctlListSingle1"));
    m_tabs->addTab(m_clients, QStringLiteral("Clientes"));
    connect(m_clients, &ctlListSingle::cmdClick, this, [this](QString &key, QString &item) {
        if (key == QLatin1String("Close"))
            close();
        else
            statusBar()->showMessage(QStringLiteral("cmdClick ") + key + QLatin1Char(' ') + item);
    });

    for (ListControl *control :
        { static_cast<ListControl *>(m_invoices), static_cast<ListControl *>(m_clients) }) {
        control->lrConnectionString(options.connection);
        control->lrDataSource(options.db);
        control->lrPassword(options.password);
    }
    m_invoices->lrConfigFileName(options.conf);
    m_clients->lrConfigFileName(options.clientsConf);
    if (options.startOnClients)
        m_tabs->setCurrentWidget(m_clients);
    resize(m_tabs->sizeHint().width(), m_tabs->sizeHint().height() + statusBar()->sizeHint().height());
}

HostWindow::~HostWindow() = default;

void HostWindow::showLists()
{
    m_invoices->Showme();
    m_clients->Showme();
}

InvoiceStore &HostWindow::store()
{
    if (!m_store)
        m_store = std::make_unique<InvoiceStore>(m_options.db);
    return *m_store;
}

void HostWindow::tell(const QString &title, const QString &text, bool problem)
{
    QMessageBox box(
        problem ? QMessageBox::Critical : QMessageBox::Information, title, text, QMessageBox::NoButton, this);
    box.addButton(QStringLiteral("Aceptar"), QMessageBox::AcceptRole);
    box.exec();
}

bool HostWindow::confirm(const QString &title, const QString &text)
{
    QMessageBox box(QMessageBox::Question, title, text, QMessageBox::NoButton, this);
    QPushButton *yes = box.addButton(QStringLiteral("Sí"), QMessageBox::YesRole);
    QPushButton *no = box.addButton(QStringLiteral("No"), QMessageBox::NoRole);
    // Pressing Return by habit must not destroy anything.
    box.setDefaultButton(no);
    box.setEscapeButton(no);
    box.exec();
    return box.clickedButton() == yes;
}

bool HostWindow::mayEdit()
{
    if (m_options.editable())
        return true;
    tell(QStringLiteral("Facturas"),
        QStringLiteral("Esta demostración solo modifica su base de datos SQLite; aquí la lista es de consulta."));
    return false;
}

std::optional<Invoice> HostWindow::chosen(const QString &key)
{
    if (!mayEdit())
        return std::nullopt;
    bool numeric = false;
    const qint64 id = key.toLongLong(&numeric);
    if (key.isEmpty() || !numeric) {
        tell(QStringLiteral("Facturas"), QStringLiteral("Seleccione primero una factura de la lista."));
        return std::nullopt;
    }
    std::optional<Invoice> invoice = store().invoice(id);
    if (!invoice) {
        if (store().error().isEmpty())
            tell(QStringLiteral("Facturas"),
                QStringLiteral("La factura %1 ya no existe: se eliminó o cambió de código. Seleccione otra.")
                    .arg(id));
        else
            tell(QStringLiteral("Facturas"),
                QStringLiteral("No se puede leer la factura: %1").arg(store().error()), true);
    }
    return invoice;
}

void HostWindow::reveal(qint64 id)
{
    ListView *view = m_invoices->ActiveListView();
    try {
        const ListItem item = view->ListItems().Item(QStringLiteral("T%1").arg(id));
        view->itemView()->scrollTo(
            view->itemView()->model()->index(item.Index() - 1, 0), QAbstractItemView::PositionAtCenter);
    } catch (const Failure &) {
        // A row the list does not show (another tab, the filter) has nowhere to scroll to.
    }
}

void HostWindow::addInvoice()
{
    if (!mayEdit())
        return;
    Invoice fresh;
    fresh.date = QDate::currentDate();
    fresh.number = store().nextNumber(fresh.date.year());
    fresh.state = QStringLiteral("Pendiente");
    InvoiceForm form(store(), fresh, this);
    if (form.exec() != QDialog::Accepted)
        return;
    const Invoice invoice = form.invoice();
    const std::optional<qint64> id = store().insert(invoice);
    if (!id) {
        tell(QStringLiteral("Nueva factura"),
            QStringLiteral("No se pudo guardar la factura: %1").arg(store().error()), true);
        return;
    }
    m_invoices->lrAddListItem(QString::number(*id));
    reveal(*id);
    statusBar()->showMessage(QStringLiteral("Factura %1 añadida").arg(invoice.number));
}

void HostWindow::openInvoice(const QString &key)
{
    const std::optional<Invoice> current = chosen(key);
    if (!current)
        return;
    InvoiceForm form(store(), *current, this);
    if (form.exec() != QDialog::Accepted)
        return;
    const Invoice invoice = form.invoice();
    if (!store().update(invoice)) {
        tell(form.windowTitle(), QStringLiteral("No se pudo guardar la factura: %1").arg(store().error()),
            true);
        return;
    }
    m_invoices->lrUpdateListItem(key);
    reveal(invoice.id);
    statusBar()->showMessage(QStringLiteral("Factura %1 guardada").arg(invoice.number));
}

void HostWindow::deleteInvoice(const QString &key)
{
    const std::optional<Invoice> invoice = chosen(key);
    if (!invoice)
        return;
    if (!confirm(QStringLiteral("Eliminar factura"),
            QStringLiteral("¿Eliminar la factura %1 del %2? Esta acción no se puede deshacer.")
                .arg(invoice->number, invoice->date.toString(QStringLiteral("dd/MM/yyyy")))))
        return;
    if (!store().remove(invoice->id)) {
        tell(QStringLiteral("Eliminar factura"),
            QStringLiteral("No se pudo eliminar la factura: %1").arg(store().error()), true);
        return;
    }
    m_invoices->lrDelListItem(key);
    statusBar()->showMessage(QStringLiteral("Factura %1 eliminada").arg(invoice->number));
}

void HostWindow::voidInvoice(const QString &key)
{
    const std::optional<Invoice> invoice = chosen(key);
    if (!invoice)
        return;
    const QString voided = QStringLiteral("Anulada");
    if (invoice->state == voided) {
        tell(QStringLiteral("Anular factura"),
            QStringLiteral("La factura %1 ya está anulada.").arg(invoice->number));
        return;
    }
    if (!confirm(QStringLiteral("Anular factura"),
            QStringLiteral("¿Anular la factura %1? Quedará sin efecto, pero se conserva con su número.")
                .arg(invoice->number)))
        return;
    if (!store().setState(invoice->id, voided)) {
        tell(QStringLiteral("Anular factura"),
            QStringLiteral("No se pudo anular la factura: %1").arg(store().error()), true);
        return;
    }
    m_invoices->lrUpdateListItem(key);
    statusBar()->showMessage(QStringLiteral("Factura %1 anulada").arg(invoice->number));
}

void HostWindow::recodeInvoice(const QString &key)
{
    const std::optional<Invoice> invoice = chosen(key);
    if (!invoice)
        return;
    QInputDialog ask(this);
    ask.setWindowTitle(QStringLiteral("Recodificar factura"));
    ask.setLabelText(
        QStringLiteral("La factura %1 tiene el código %2, que la identifica en la base de datos y en "
                       "la lista; su número no cambia.\nCódigo nuevo:")
            .arg(invoice->number)
            .arg(invoice->id));
    ask.setInputMode(QInputDialog::IntInput);
    ask.setIntRange(1, std::numeric_limits<int>::max());
    ask.setIntValue(int(qMin<qint64>(store().nextId(), std::numeric_limits<int>::max())));
    ask.setOkButtonText(QStringLiteral("Aceptar"));
    ask.setCancelButtonText(QStringLiteral("Cancelar"));
    if (ask.exec() != QDialog::Accepted || ask.intValue() == invoice->id)
        return;
    const qint64 to = ask.intValue();
    if (store().idTaken(to)) {
        tell(ask.windowTitle(), QStringLiteral("El código %1 ya es de otra factura.").arg(to));
        return;
    }
    if (!store().recode(invoice->id, to)) {
        tell(ask.windowTitle(), QStringLiteral("No se pudo recodificar la factura: %1").arg(store().error()),
            true);
        return;
    }
    // The key is the row's identity in the list: the old row goes and the row under the new key comes.
    m_invoices->lrDelListItem(key);
    m_invoices->lrAddListItem(QString::number(to));
    reveal(to);
    statusBar()->showMessage(
        QStringLiteral("Factura %1: código %2 cambiado a %3").arg(invoice->number).arg(invoice->id).arg(to));
}

QString HostWindow::printTitle() const
{
    // The chosen tabs say which part of the invoices the paper holds.
    const auto chosenTab = [this](int strip) {
        auto *tabs = m_invoices->findChild<TabStrip *>(QStringLiteral("ctlTabStrip(%1)").arg(strip));
        return tabs && tabs->SelectedItem() ? tabs->SelectedItem()->Caption() : QStringLiteral("Todos");
    };
    return QStringLiteral("Facturas (ejercicio: %1, mes: %2)").arg(chosenTab(0), chosenTab(1));
}

PrintOutcome HostWindow::printToPdf(const QString &path)
{
    QPrinter printer(QPrinter::HighResolution);
    printer.setOutputFormat(QPrinter::PdfFormat);
    printer.setOutputFileName(path);
    printer.setPageLayout(QPageLayout(QPageSize(QPageSize::A4), QPageLayout::Landscape,
        QMarginsF(12, 12, 12, 12), QPageLayout::Millimeter));
    printer.setDocName(QStringLiteral("Facturas"));
    QApplication::setOverrideCursor(Qt::WaitCursor);
    const PrintOutcome outcome = printList(*m_invoices->ActiveListView(), printer, printTitle());
    QApplication::restoreOverrideCursor();
    return outcome;
}

void HostWindow::printInvoices()
{
    QString path = m_printFile;
    if (path.isEmpty() && !QPrinterInfo::availablePrinters().isEmpty()) {
        QPrinter printer(QPrinter::HighResolution);
        QPrintDialog dialog(&printer, this);
        if (dialog.exec() != QDialog::Accepted)
            return;
        QApplication::setOverrideCursor(Qt::WaitCursor);
        const PrintOutcome outcome = printList(*m_invoices->ActiveListView(), printer, printTitle());
        QApplication::restoreOverrideCursor();
        statusBar()->showMessage(
            QStringLiteral("Impresas %1 filas en %2 páginas").arg(outcome.rowsPrinted).arg(outcome.pages));
        return;
    }
    if (path.isEmpty()) {
        // No printer here: the list goes to a PDF file the user names.
        path = QFileDialog::getSaveFileName(this, QStringLiteral("Imprimir en PDF"),
            QDir(QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation))
                .filePath(QStringLiteral("facturas.pdf")),
            QStringLiteral("Documentos PDF (*.pdf)"));
        if (path.isEmpty())
            return;
    }
    const PrintOutcome outcome = printToPdf(path);
    if (!outcome.ok) {
        tell(QStringLiteral("Imprimir"), QStringLiteral("No se pudo escribir %1.").arg(path), true);
        return;
    }
    statusBar()->showMessage(outcome.rowsPrinted < outcome.rowsShown
            ? QStringLiteral("%1: %2 de %3 filas en %4 páginas (límite de páginas)")
                  .arg(path)
                  .arg(outcome.rowsPrinted)
                  .arg(outcome.rowsShown)
                  .arg(outcome.pages)
            : QStringLiteral("%1: %2 filas en %3 páginas")
                  .arg(path)
                  .arg(outcome.rowsPrinted)
                  .arg(outcome.pages));
}

void HostWindow::showContextMenu()
{
    const QString key = m_invoices->lrSelectedKey();
    QMenu menu(this);
    menu.setObjectName(QStringLiteral("menuFacturas"));
    QAction *add = menu.addAction(QStringLiteral("Adicionar"));
    QAction *open = menu.addAction(QStringLiteral("Abrir"));
    QAction *del = menu.addAction(QStringLiteral("Eliminar"));
    QAction *print = menu.addAction(QStringLiteral("Imprimir"));
    QAction *recode = menu.addAction(QStringLiteral("Recodificar"));
    QAction *voiding = menu.addAction(QStringLiteral("Anular"));
    for (QAction *needsRow : { open, del, recode, voiding })
        needsRow->setEnabled(!key.isEmpty());
    // The command runs once the menu is gone, so its dialogs are not stacked on a closing popup.
    // Raised from the keyboard (Menu key, Shift+F10) the pointer may be anywhere: the menu then
    // opens on the list's current row.
    QPoint at = QCursor::pos();
    QAbstractItemView *view = m_invoices->ActiveListView()->itemView();
    if (view->hasFocus() && !view->viewport()->rect().contains(view->viewport()->mapFromGlobal(at))) {
        const QRect row = view->visualRect(view->currentIndex());
        at = view->viewport()->mapToGlobal(row.isValid() ? row.bottomLeft() : QPoint(0, 0));
    }
    QAction *picked = menu.exec(at);
    if (picked == add)
        addInvoice();
    else if (picked == open)
        openInvoice(key);
    else if (picked == del)
        deleteInvoice(key);
    else if (picked == print)
        printInvoices();
    else if (picked == recode)
        recodeInvoice(key);
    else if (picked == voiding)
        voidInvoice(key);
}
