// SPDX-License-Identifier: MIT
#include "ControlPlugins.h"

#include <Brennvox10/Brennvox10.h>

namespace {

template <typename Control>
QWidget *make(QWidget *parent)
{
    return new Control(parent);
}

const ControlPlugin::Entry Entries[] = {
    { "ctlListRecord", 30003, "Record list with two tab strips", QSize(546, 395), make<Brennvox10::ctlListRecord> },
    { "ctlListSingle", 30000, "Record list without tabs", QSize(550, 349), make<Brennvox10::ctlListSingle> },
    { "ctlFilter", 30001, "Filter conditions on a list definition's fields", QSize(333, 184), make<Brennvox10::ctlFilter> },
    { "ctlMenu", 30002, "Command bar", QSize(89, 300), make<Brennvox10::ctlMenu> },
};

} // namespace

ControlPlugin::ControlPlugin(const Entry &entry, QObject *parent)
    : QObject(parent)
    , m_entry(entry)
{
}

// Qualified, so that uic declares and creates the namespaced class.
QString ControlPlugin::name() const
{
    return QStringLiteral("Brennvox10::") + QLatin1String(m_entry.className);
}

QString ControlPlugin::group() const
{
    return QStringLiteral("Brennvox10");
}

QString ControlPlugin::toolTip() const
{
    return QLatin1String(m_entry.toolTip);
}

QString ControlPlugin::whatsThis() const
{
    return toolTip();
}

// Angle brackets make Designer write a global include, as for any installed library.
QString ControlPlugin::includeFile() const
{
    return QStringLiteral("<Brennvox10/%1.h>").arg(QLatin1String(m_entry.className));
}

QIcon ControlPlugin::icon() const
{
    if (m_icon.isNull())
        m_icon = QIcon(Brennvox10::toolboxPicture(m_entry.picture));
    return m_icon;
}

bool ControlPlugin::isContainer() const
{
    return false;
}

QWidget *ControlPlugin::createWidget(QWidget *parent)
{
    return m_entry.create(parent);
}

QString ControlPlugin::domXml() const
{
    return QStringLiteral("<ui language=\"c++\">\n"
                          " <widget class=\"%1\" name=\"%2\">\n"
                          "  <property name=\"geometry\">\n"
                          "   <rect><x>0</x><y>0</y><width>%3</width><height>%4</height></rect>\n"
                          "  </property>\n"
                          " </widget>\n"
                          "</ui>\n")
        .arg(name(), QLatin1String(m_entry.className) + QLatin1Char('1'))
        .arg(m_entry.size.width())
        .arg(m_entry.size.height());
}

Brennvox10Controls::Brennvox10Controls(QObject *parent)
    : QObject(parent)
{
    for (const ControlPlugin::Entry &e : Entries)
        m_plugins << new ControlPlugin(e, this);
}

QList<QDesignerCustomWidgetInterface *> Brennvox10Controls::customWidgets() const
{
    return m_plugins;
}
