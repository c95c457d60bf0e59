// SPDX-License-Identifier: MIT
#pragma once
// The host's form for one invoice: number, date, client, total, weight and state. "Aceptar" closes
// it only once every field holds a valid value, the number is free and the client exists; the
// host then writes the invoice itself.

#include "InvoiceStore.h"

#include <QDialog>

class QComboBox;
class QDateEdit;
class QLineEdit;

class InvoiceForm : public QDialog {
    Q_OBJECT
public:
    // An invoice with id 0 is a new one.
    InvoiceForm(InvoiceStore &store, const Invoice &invoice, QWidget *parent = nullptr);

    // What the fields hold; meaningful once the form was accepted.
    Invoice invoice() const { return m_invoice; }

    void accept() override;

private:
    bool refuse(QWidget *field, const QString &message);

    InvoiceStore &m_store;
    Invoice m_invoice;
    QLineEdit *m_number;
    QDateEdit *m_date;
    QComboBox *m_client;
    QLineEdit *m_total;
    QLineEdit *m_weight;
    QComboBox *m_state;
};

// An amount as typed in Spain ("1.234,56", "1234,56") or with a decimal point ("1234.56"), in
// hundredths (decimals 2) or thousandths (decimals 3); nullopt for anything else, negative amounts
// and more decimals than that.
std::optional<qint64> parseAmount(const QString &text, int decimals);
