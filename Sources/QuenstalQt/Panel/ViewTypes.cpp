#include "QuenstalQt/Panel/ViewTypes.hpp"

#include "QuenstalQt/Artwork/Items.hpp"
#include "QuenstalQt/Artwork/ResponseCurve.hpp"
#include "QuenstalQt/Artwork/VolumeDial.hpp"
#include "QuenstalQt/Panel/PanelModel.hpp"
#include "QuenstalQt/Panel/Question.hpp"

#include <qqml.h>

namespace quenstal {

void registerViewTypes()
{
    constexpr const char* module = "Quenstal.Artwork";
    qmlRegisterType<SymbolItem>(module, 1, 0, "SymbolItem");
    qmlRegisterType<GlassSurface>(module, 1, 0, "GlassSurface");
    qmlRegisterType<GlassPlate>(module, 1, 0, "GlassPlate");
    qmlRegisterType<GlassKnob>(module, 1, 0, "GlassKnob");
    qmlRegisterType<GlassGroove>(module, 1, 0, "GlassGroove");
    qmlRegisterType<LevelMeters>(module, 1, 0, "LevelMeters");
    qmlRegisterType<ResponseCurve>(module, 1, 0, "ResponseCurve");
    qmlRegisterType<VolumeDial>(module, 1, 0, "VolumeDial");
    qmlRegisterUncreatableType<PanelModel>(module, 1, 0, "PanelModel", QStringLiteral("Made by the panel's window."));
    qmlRegisterUncreatableType<Question>(module, 1, 0, "Question", QStringLiteral("Made by the desktop."));
}

} // namespace quenstal
