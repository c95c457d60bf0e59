// SPDX-License-Identifier: MIT
#include "InvoiceForm.h"

#include <QComboBox>
#include <QCompleter>
#include <QDateEdit>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QLocale>
#include <QMessageBox>
#include <QPushButton>
#include <QRegularExpression>

#include <cmath>

std::optional<qint64> parseAmount(const QString &typed, int decimals)
{
    QString text = typed.trimmed();
    text.remove(QLatin1Char(' '));
    // With a comma the points can only group thousands; a lone point is a decimal point.
    static const QRegularExpression spanish(QStringLiteral("^\\d{1,3}(\\.\\d{3})*(,\\d+)?$|^\\d+(,\\d+)?$"));
    static const QRegularExpression plain(QStringLiteral("^\\d+(\\.\\d+)?$"));
    if (spanish.match(text).hasMatch()) {
        text.remove(QLatin1Char('.'));
        text.replace(QLatin1Char(','), QLatin1Char('.'));
    } else if (!plain.match(text).hasMatch()) {
        return std::nullopt;
    }
    const qsizetype point = text.indexOf(QLatin1Char('.'));
    if (point >= 0 && text.size() - point - 1 > decimals)
        return std::nullopt;
    bool ok = false;
    const double value = text.toDouble(&ok);
    if (!ok || value >= 1e12)
        return std::nullopt;
    return qRound64(value * std::pow(10.0, decimals));
}

namespace {

QString amountText(qint64 units, int decimals)
{
    return QLocale(QLocale::Spanish, QLocale::Spain)
        .toString(double(units) / std::pow(10.0, decimals), 'f', decimals);
}

} // namespace

InvoiceForm::InvoiceForm(InvoiceStore &store, const Invoice &invoice, QWidget *parent)
    : QDialog(parent)
    , m_store(store)
    , m_invoice(invoice)
    , m_number(new QLineEdit(invoice.number, this))
    , m_date(new QDateEdit(invoice.date.isValid() ? invoice.date : QDate::currentDate(), this))
    , m_client(new QComboBox(this))
    , m_total(new QLineEdit(invoice.id ? amountText(invoice.cents, 2) : QString(), this))
    , m_weight(new QLineEdit(invoice.id ? amountText(invoice.grams, 3) : QString(), this))
    , m_state(new QComboBox(this))
{
    setWindowTitle(
        invoice.id ? QStringLiteral("Factura %1").arg(invoice.number) : QStringLiteral("Nueva factura"));
    m_number->setObjectName(QStringLiteral("numero"));
    m_number->setMaxLength(20);
    m_date->setObjectName(QStringLiteral("fecha"));
    m_date->setDisplayFormat(QStringLiteral("dd/MM/yyyy"));
    m_date->setCalendarPopup(true);
    m_date->setDateRange(QDate(2000, 1, 1), QDate(2099, 12, 31));
    m_client->setObjectName(QStringLiteral("cliente"));
    for (const auto &[id, name] : store.clients())
        m_client->addItem(name, id);
    m_client->setCurrentIndex(m_client->findData(invoice.client));
    // Typed rather than scrolled to among many clients: any part of the name finds it.
    m_client->setEditable(true);
    m_client->setInsertPolicy(QComboBox::NoInsert);
    m_client->completer()->setCompletionMode(QCompleter::PopupCompletion);
    m_client->completer()->setFilterMode(Qt::MatchContains);
    m_client->completer()->setCaseSensitivity(Qt::CaseInsensitive);
    if (m_client->currentIndex() < 0)
        m_client->clearEditText();
    m_total->setObjectName(QStringLiteral("total"));
    m_total->setPlaceholderText(QStringLiteral("1.234,56"));
    m_weight->setObjectName(QStringLiteral("peso"));
    m_weight->setPlaceholderText(QStringLiteral("12,500"));
    m_state->setObjectName(QStringLiteral("estado"));
    m_state->addItems(store.states());
    m_state->setCurrentIndex(
        qMax(0, m_state->findText(invoice.state.isEmpty() ? QStringLiteral("Pendiente") : invoice.state)));

    auto *form = new QFormLayout(this);
    form->addRow(QStringLiteral("&Número:"), m_number);
    form->addRow(QStringLiteral("&Fecha:"), m_date);
    form->addRow(QStringLiteral("C&liente:"), m_client);
    form->addRow(QStringLiteral("&Total (€):"), m_total);
    form->addRow(QStringLiteral("&Peso (kg):"), m_weight);
    form->addRow(QStringLiteral("&Estado:"), m_state);
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttons->button(QDialogButtonBox::Ok)->setText(QStringLiteral("Aceptar"));
    buttons->button(QDialogButtonBox::Cancel)->setText(QStringLiteral("Cancelar"));
    form->addRow(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

bool InvoiceForm::refuse(QWidget *field, const QString &message)
{
    QMessageBox box(QMessageBox::Warning, windowTitle(), message, QMessageBox::NoButton, this);
    box.addButton(QStringLiteral("Aceptar"), QMessageBox::AcceptRole);
    box.exec();
    field->setFocus();
    return false;
}

void InvoiceForm::accept()
{
    Invoice v = m_invoice;
    v.number = m_number->text().trimmed().toUpper();
    if (v.number.isEmpty()) {
        refuse(m_number, QStringLiteral("Escriba el número de la factura."));
        return;
    }
    if (m_store.numberTaken(v.number, v.id)) {
        refuse(m_number, QStringLiteral("Ya existe otra factura con el número %1.").arg(v.number));
        return;
    }
    v.date = m_date->date();
    const int client = m_client->findText(m_client->currentText().trimmed(), Qt::MatchFixedString);
    if (client < 0) {
        refuse(m_client,
            m_client->currentText().trimmed().isEmpty()
                ? QStringLiteral("Elija el cliente de la factura.")
                : QStringLiteral("No hay ningún cliente que se llame «%1». Elíjalo de la lista.")
                      .arg(m_client->currentText().trimmed()));
        return;
    }
    v.client = m_client->itemData(client).toInt();
    const auto cents = parseAmount(m_total->text(), 2);
    if (!cents) {
        refuse(m_total,
            QStringLiteral("El total debe ser un importe en euros sin signo, con dos decimales como mucho: "
                           "por ejemplo 1.234,56."));
        return;
    }
    const auto grams = parseAmount(m_weight->text(), 3);
    if (!grams) {
        refuse(m_weight,
            QStringLiteral("El peso debe ser un número de kilos sin signo, con tres decimales como "
                           "mucho: por ejemplo 12,5."));
        return;
    }
    if (m_state->currentIndex() < 0) {
        refuse(m_state, QStringLiteral("Elija el estado de la factura."));
        return;
    }
    v.cents = *cents;
    v.grams = *grams;
    v.state = m_state->currentText();
    m_invoice = v;
    QDialog::accept();
}
