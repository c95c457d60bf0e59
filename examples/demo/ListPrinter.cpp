// SPDX-License-Identifier: MIT
#include "ListPrinter.h"

#include <Brennvox10/ListView.h>

#include <QDateTime>
#include <QFontMetricsF>
#include <QLocale>
#include <QPainter>
#include <QPrinter>

#include <algorithm>
#include <vector>

namespace {

struct PrintColumn {
    int subItem; // 0 the row's own text
    QString caption;
    Qt::Alignment alignment;
    qreal left = 0, width = 0;
};

Qt::Alignment alignmentOf(qint16 code)
{
    return code == 1 ? Qt::AlignRight : code == 2 ? Qt::AlignHCenter : Qt::AlignLeft;
}

} // namespace

PrintOutcome printList(Brennvox10::ListView &list, QPrinter &printer, const QString &title, int maxPages)
{
    PrintOutcome outcome;
    Brennvox10::ColumnHeaders &headers = list.ColumnHeaders();
    Brennvox10::ListItems &items = list.ListItems();
    outcome.rowsShown = items.Count();

    // Columns in their shown order; those of width 0 are hidden on screen and stay so on paper.
    std::vector<PrintColumn> columns;
    std::vector<std::pair<int, float>> order;
    for (int c = 1; c <= headers.Count(); ++c)
        if (headers.Item(c)->Width() > 0)
            order.push_back({ c, 0 });
    std::stable_sort(order.begin(), order.end(), [&](const auto &a, const auto &b) {
        return headers.Item(a.first)->Position() < headers.Item(b.first)->Position();
    });
    float totalTwips = 0;
    for (const auto &[c, unused] : order)
        totalTwips += headers.Item(c)->Width();

    QPainter painter;
    if (!painter.begin(&printer))
        return outcome;
    const QRectF page = printer.pageLayout().paintRectPixels(printer.resolution());
    const QRectF area(0, 0, page.width(), page.height());

    QFont body(QStringLiteral("Sans Serif"), 8);
    QFont bold = body;
    bold.setBold(true);
    QFont heading(QStringLiteral("Sans Serif"), 13);
    heading.setBold(true);
    const qreal line = QFontMetricsF(body, &printer).height() * 1.35;
    const qreal pad = QFontMetricsF(body, &printer).averageCharWidth() * 0.6;
    const qreal headingHeight = QFontMetricsF(heading, &printer).height() * 1.6;
    const qreal top = headingHeight + line * 1.5;
    const qreal footer = line * 2;

    qreal x = 0;
    for (const auto &[c, unused] : order) {
        Brennvox10::ColumnHeader *h = headers.Item(c);
        PrintColumn column { c - 1, h->Text(), alignmentOf(h->Alignment()) };
        column.left = x;
        column.width = totalTwips > 0 ? area.width() * h->Width() / totalTwips : 0;
        x += column.width;
        columns.push_back(column);
    }

    const int rowsPerPage = std::max(1, int((area.height() - top - footer) / line));
    const int neededPages = std::max(1, (outcome.rowsShown + rowsPerPage - 1) / rowsPerPage);
    const int pages = std::min(neededPages, std::max(1, maxPages));
    const bool cut = neededPages > pages;
    const QLocale spanish(QLocale::Spanish, QLocale::Spain);
    const QString printed
        = QStringLiteral("Impreso el %1")
              .arg(spanish.toString(QDateTime::currentDateTime(), QStringLiteral("dd/MM/yyyy HH:mm")));

    const auto cell = [&](const PrintColumn &column, qreal y, const QString &text) {
        const QRectF box(column.left + pad, y, std::max<qreal>(0, column.width - 2 * pad), line);
        painter.drawText(box, int(column.alignment | Qt::AlignVCenter),
            painter.fontMetrics().elidedText(text, Qt::ElideRight, int(box.width())));
    };

    int row = 1;
    for (int p = 1; p <= pages; ++p) {
        if (p > 1)
            printer.newPage();
        painter.setFont(heading);
        painter.drawText(QRectF(0, 0, area.width(), headingHeight), int(Qt::AlignLeft | Qt::AlignTop), title);
        painter.setFont(body);
        painter.drawText(
            QRectF(0, 0, area.width(), headingHeight), int(Qt::AlignRight | Qt::AlignTop), printed);
        painter.setFont(bold);
        for (const PrintColumn &column : columns)
            cell(column, headingHeight, column.caption);
        painter.drawLine(
            QPointF(0, headingHeight + line * 1.1), QPointF(area.width(), headingHeight + line * 1.1));

        painter.setFont(body);
        qreal y = top;
        for (int n = 0; n < rowsPerPage && row <= outcome.rowsShown; ++n, ++row, y += line) {
            const Brennvox10::ListItem item = items.Item(row);
            for (const PrintColumn &column : columns)
                cell(column, y, column.subItem == 0 ? item.Text() : item.SubItems(column.subItem));
        }
        if (outcome.rowsShown == 0)
            painter.drawText(QRectF(0, top, area.width(), line), int(Qt::AlignLeft | Qt::AlignVCenter),
                QStringLiteral("La lista está vacía."));
        if (cut && p == pages) {
            painter.setFont(bold);
            painter.drawText(QRectF(0, area.height() - footer, area.width(), line),
                int(Qt::AlignLeft | Qt::AlignVCenter),
                QStringLiteral(
                    "Se imprimieron las primeras %1 de %2 filas (límite de %3 páginas). Acote la lista "
                    "con las pestañas o el filtro para imprimir el resto.")
                    .arg(spanish.toString(row - 1), spanish.toString(outcome.rowsShown),
                        spanish.toString(pages)));
            painter.setFont(body);
        }
        painter.drawText(QRectF(0, area.height() - line, area.width(), line),
            int(Qt::AlignHCenter | Qt::AlignVCenter), QStringLiteral("Página %1 de %2").arg(p).arg(pages));
    }
    outcome.rowsPrinted = row - 1;
    outcome.pages = pages;
    outcome.ok = painter.end();
    return outcome;
}
