#include "QuenstalQt/Desktop/Views.hpp"

#include "QuenstalQt/Panel/ViewTypes.hpp"

#include <QQmlComponent>

namespace quenstal {

std::unique_ptr<QQuickItem> createView(QQmlEngine& engine, const char* name, const QVariantMap& properties)
{
    [[maybe_unused]] static const bool areTypesKnown = (registerViewTypes(), true);
    QQmlComponent component(&engine, QUrl(QStringLiteral("qrc:/Quenstal/Views/%1.qml").arg(QLatin1String(name))));
    if (!component.isReady())
        qFatal("%s", qPrintable(component.errorString()));
    return std::unique_ptr<QQuickItem>(qobject_cast<QQuickItem*>(component.createWithInitialProperties(properties)));
}

} // namespace quenstal
