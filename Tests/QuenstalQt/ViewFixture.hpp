#pragma once

// A panel without a screen, for tests that look at its views and touch them.

#include "Gallery/Stage.hpp"

#include <string>

#include <QGuiApplication>
#include <QTest>
#include <gmock/gmock.h>

namespace quenstal {

/// The one application object; never destroyed, as the platform plugin does not survive the end of main.
inline QQmlEngine& sharedEngine()
{
    static QQmlEngine* engine = [] {
        static int argc = 1;
        static char name[] = "panel";
        static char* argv[] = {name, nullptr};
        gallery::prepareEnvironment(QUENSTAL_TEST_SCALE);
        new QGuiApplication(argc, argv);
        return new QQmlEngine;
    }();
    return *engine;
}

inline const gallery::Scene& sceneNamed(const std::string& name)
{
    for (const gallery::Scene& scene : gallery::scenes()) {
        if (scene.name == name)
            return scene;
    }
    throw std::invalid_argument("There is no scene " + name);
}

/// Every item below this one that is shown.
inline void collectShown(QQuickItem* item, QList<QQuickItem*>& shown)
{
    if (!item->isVisible() || item->opacity() == 0)
        return;
    shown << item;
    for (QQuickItem* child : item->childItems())
        collectShown(child, shown);
}

inline QList<QQuickItem*> shownItems(QQuickItem& root)
{
    QList<QQuickItem*> shown;
    collectShown(&root, shown);
    return shown;
}

inline bool isText(const QQuickItem* item)
{
    return item->inherits("QQuickText") && !item->property("text").toString().isEmpty();
}

} // namespace quenstal
