#pragma once

#include <memory>

#include <QQmlEngine>
#include <QQuickItem>
#include <QVariantMap>

namespace quenstal {

/// Makes one of the views. They are part of the program, so a view that cannot be made ends it with the reasons.
std::unique_ptr<QQuickItem> createView(QQmlEngine& engine, const char* name, const QVariantMap& properties);

} // namespace quenstal
