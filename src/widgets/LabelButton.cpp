// SPDX-License-Identifier: MIT
#include "widgets/LabelButton_p.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QCoreApplication>
#include <QLabel>
#include <QMouseEvent>

namespace Brennvox10::accessible {

namespace {

const char *const Marker = "brennvox10AccessibleButton";

class LabelButton : public QAccessibleWidget {
public:
    explicit LabelButton(QLabel *label)
        : QAccessibleWidget(label, QAccessible::Button)
    {
    }

    QLabel *label() const { return static_cast<QLabel *>(widget()); }

    QString text(QAccessible::Text t) const override
    {
        if (t == QAccessible::Name && label()->accessibleName().isEmpty())
            return label()->text();
        return QAccessibleWidget::text(t);
    }

    QStringList actionNames() const override
    {
        return QStringList { pressAction() } + QAccessibleWidget::actionNames();
    }

    void doAction(const QString &name) override
    {
        if (name != pressAction()) {
            QAccessibleWidget::doAction(name);
            return;
        }
        if (!label()->isEnabled())
            return;
        // A click, delivered once the caller has returned: the label's action may open a modal dialog,
        // which must not run inside the request of the assistive technology that pressed it.
        const QPointF centre = QRectF(label()->rect()).center();
        const QPointF global = label()->mapToGlobal(centre);
        QCoreApplication::postEvent(label(),
            new QMouseEvent(
                QEvent::MouseButtonPress, centre, global, Qt::LeftButton, Qt::LeftButton, Qt::NoModifier));
        QCoreApplication::postEvent(label(),
            new QMouseEvent(
                QEvent::MouseButtonRelease, centre, global, Qt::LeftButton, Qt::NoButton, Qt::NoModifier));
    }

    QStringList keyBindingsForAction(const QString &name) const override
    {
        return name == pressAction() ? QStringList() : QAccessibleWidget::keyBindingsForAction(name);
    }
};

QAccessibleInterface *factory(const QString &className, QObject *object)
{
    if (className == QLatin1String("QLabel") && object && object->property(Marker).toBool())
        return new LabelButton(static_cast<QLabel *>(object));
    return nullptr;
}

} // namespace

void offerAsButton(QLabel *label)
{
    static const bool installed = [] {
        QAccessible::installFactory(factory);
        return true;
    }();
    Q_UNUSED(installed);
    label->setProperty(Marker, true);
    // A label announces its text as it is set, and Qt keeps the interface it made for that notice: one
    // made before the label was marked goes, so that the next question makes the button.
    QAccessibleInterface *made = QAccessible::queryAccessibleInterface(label);
    if (made && made->role() != QAccessible::Button)
        QAccessible::deleteAccessibleInterface(QAccessible::uniqueId(made));
}

} // namespace Brennvox10::accessible
