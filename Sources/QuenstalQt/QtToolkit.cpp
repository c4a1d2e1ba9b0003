#include "QuenstalQt/QtToolkit.hpp"

#include "QuenstalFreedesktop/SessionBus.hpp"

#include <optional>

#include <QGuiApplication>
#include <QLocale>
#include <QQuickWindow>
#include <QTranslator>

namespace quenstal {

namespace {

/// Wayland windows cannot be placed under the icon: where an X server is available, use it instead.
void choosePlatform()
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM") && qEnvironmentVariableIsSet("DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "xcb");
}

} // namespace

QtToolkit::QtToolkit(int& argc, char** argv, SessionBusState bus)
{
    choosePlatform();
    // The panel repaints small areas rarely: a graphics context would cost more memory than all the rest.
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QQuickWindow::setDefaultAlphaBuffer(true);
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QGuiApplication::setApplicationName(QStringLiteral("quenstal"));
    QGuiApplication::setApplicationDisplayName(QStringLiteral("Quenstal"));
    QGuiApplication::setDesktopFileName(QStringLiteral("app.quenstal.Quenstal"));
    const bool isSilent = bus == SessionBusState::isSilent;
    const std::optional<HiddenSessionBus> hidden = isSilent ? std::make_optional<HiddenSessionBus>() : std::nullopt;
    application_ = std::make_unique<QGuiApplication>(argc, argv);
    texts_ = std::make_unique<QTranslator>();
    if (texts_->load(QLocale(), QStringLiteral("quenstal"), QStringLiteral("_"), QStringLiteral(":/i18n")))
        QGuiApplication::installTranslator(texts_.get());
}

QtToolkit::~QtToolkit() = default;

int QtToolkit::run()
{
    return QGuiApplication::exec();
}

} // namespace quenstal
