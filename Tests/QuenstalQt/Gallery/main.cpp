// quenstal_gallery FOLDER [SCALE [GOLDEN [NAME…]]]: writes every scene, or those named, as a picture. With a folder of
// golden pictures it compares each one and closes with the line of a test suite.

#include "Gallery/Scenes.hpp"
#include "Gallery/Stage.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include <QDir>
#include <QGuiApplication>
#include <QQmlEngine>
#include <QTranslator>

namespace {

using namespace quenstal;

/// Part of the pixels that differ visibly; 1 when the sizes differ or there is no golden picture.
double difference(const QImage& picture, const QImage& golden)
{
    constexpr int visible = 8;
    if (picture.size() != golden.size())
        return 1;
    qsizetype different = 0;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            const QRgb a = picture.pixel(x, y);
            const QRgb b = golden.pixel(x, y);
            const int most = std::max({std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b)),
                std::abs(qBlue(a) - qBlue(b)), std::abs(qAlpha(a) - qAlpha(b))});
            different += most > visible;
        }
    }
    return static_cast<double>(different) / static_cast<double>(picture.width() * picture.height());
}

class Run {
public:
    Run(QString folder, QString golden, QStringList names)
        : folder_(std::move(folder))
        , golden_(std::move(golden))
        , names_(std::move(names))
    {
    }

    template <typename MakePicture>
    void take(const QString& name, MakePicture makePicture)
    {
        if (!names_.isEmpty() && !names_.contains(name))
            return;
        const QImage picture = makePicture();
        const QString file = name + ".png";
        picture.save(QDir(folder_).filePath(file));
        if (golden_.isEmpty())
            return;
        constexpr double tolerance = 0.005;
        const QImage golden = QImage(QDir(golden_).filePath(file)).convertToFormat(QImage::Format_ARGB32);
        const double part = difference(picture, golden);
        const bool isSame = part <= tolerance;
        ++(isSame ? passed_ : failed_);
        if (!isSame)
            std::printf("%s differs in %.2f %% of its pixels: %s\n", qPrintable(name), part * 100,
                qPrintable(QDir(folder_).filePath(file)));
    }

    int finish() const
    {
        if (!golden_.isEmpty())
            std::printf("%d passed, %d failed\n", passed_, failed_);
        return failed_ == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
    }

private:
    QString folder_;
    QString golden_;
    QStringList names_;
    int passed_ = 0;
    int failed_ = 0;
};

/// The screens with the longest texts.
void takeGermanScenes(Run& run, QQmlEngine& engine)
{
    QTranslator translator;
    if (!translator.load(QStringLiteral(":/i18n/quenstal_de.qm")))
        qFatal("There is no German translation.");
    QGuiApplication::installTranslator(&translator);
    for (const gallery::Scene& scene : gallery::scenes()) {
        const QString name = QString::fromStdString(scene.name);
        if (QStringList{"dial-more", "dial-banner", "equalizer-hint", "equalizer-hardware", "equalizer-reset",
                "setup-advice", "setup-keys-and-monitor"}
                .contains(name))
            run.take("german-" + name, [&] { return gallery::Stage(engine, scene).picture(); });
    }
    QGuiApplication::removeTranslator(&translator);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fputs("usage: quenstal_gallery FOLDER [SCALE [GOLDEN [NAME...]]]\n", stderr);
        return EXIT_FAILURE;
    }
    gallery::prepareEnvironment(argc > 2 ? std::atof(argv[2]) : 1);
    QGuiApplication application(argc, argv);
    QDir().mkpath(argv[1]);

    const QStringList arguments = QGuiApplication::arguments();
    Run run(arguments.at(1), arguments.value(3), arguments.mid(4));
    QQmlEngine engine;
    for (const gallery::Scene& scene : gallery::scenes())
        run.take(QString::fromStdString(scene.name), [&] { return gallery::Stage(engine, scene).picture(); });
    for (const auto& [name, feedback] : gallery::feedbacks())
        run.take(QString::fromStdString(name), [&] { return gallery::FeedbackStage(engine, feedback).picture(); });
    takeGermanScenes(run, engine);
    return run.finish();
}
