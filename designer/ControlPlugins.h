// SPDX-License-Identifier: MIT
#pragma once
// Qt Designer's view of the controls: one entry per control in the widget box group "Brennvox10",
// with its toolbox picture, its public header and a default size.

#include <QtUiPlugin/QDesignerCustomWidgetCollectionInterface>
#include <QtUiPlugin/QDesignerCustomWidgetInterface>

#include <QIcon>
#include <QObject>

class ControlPlugin : public QObject, public QDesignerCustomWidgetInterface {
    Q_OBJECT
    Q_INTERFACES(QDesignerCustomWidgetInterface)
public:
    using Factory = QWidget *(*)(QWidget *parent);
    struct Entry {
        const char *className; // unqualified: also the header's name and the default object name
        int picture;
        const char *toolTip;
        QSize size; // pixels: the control's design size in twips / 15
        Factory create;
    };

    ControlPlugin(const Entry &entry, QObject *parent);

    QString name() const override;
    QString group() const override;
    QString toolTip() const override;
    QString whatsThis() const override;
    QString includeFile() const override;
    QIcon icon() const override;
    bool isContainer() const override;
    QWidget *createWidget(QWidget *parent) override;
    QString domXml() const override;

private:
    Entry m_entry;
    mutable QIcon m_icon; // made on first use: Designer asks only once a GUI is running
};

class Brennvox10Controls : public QObject, public QDesignerCustomWidgetCollectionInterface {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "org.qt-project.Qt.QDesignerCustomWidgetCollectionInterface")
    Q_INTERFACES(QDesignerCustomWidgetCollectionInterface)
public:
    explicit Brennvox10Controls(QObject *parent = nullptr);
    QList<QDesignerCustomWidgetInterface *> customWidgets() const override;

private:
    QList<QDesignerCustomWidgetInterface *> m_plugins;
};
