#include "QuenstalQt/Desktop/Views.hpp"

#include "QuenstalQt/Panel/ViewTypes.hpp"

#include <QQmlComponent>

#if __has_include(<malloc.h>)
#include <malloc.h>
#endif

namespace quenstal {

std::unique_ptr<QQuickItem> createView(QQmlEngine& engine, const char* name, const QVariantMap& properties)
{
    [[maybe_unused]] static const bool areTypesKnown = (registerViewTypes(), true);
    QQmlComponent component(&engine, QUrl(QStringLiteral("qrc:/Quenstal/Views/%1.qml").arg(QLatin1String(name))));
    if (!component.isReady())
        qFatal("%s", qPrintable(component.errorString()));
    return std::unique_ptr<QQuickItem>(qobject_cast<QQuickItem*>(component.createWithInitialProperties(properties)));
}

void returnFreeMemory()
{
    malloc_trim(0);
}

} // namespace quenstal
