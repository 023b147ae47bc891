#include "host/FontSubstitution.h"
#include <QFontDatabase>

namespace {
/// The first installed face of those that are known to look well, or any that has the characters.
QString chineseFace(const QFontDatabase &fonts)
{
    const QStringList installed = fonts.families(QFontDatabase::SimplifiedChinese);
    for (const QString &family :
         {QStringLiteral("Noto Sans CJK SC"), QStringLiteral("Noto Sans SC"), QStringLiteral("Source Han Sans SC"),
          QStringLiteral("Source Han Sans CN"), QStringLiteral("WenQuanYi Micro Hei"),
          QStringLiteral("WenQuanYi Zen Hei"), QStringLiteral("Droid Sans Fallback")}) {
        if (installed.contains(family))
            return family;
    }
    return installed.value(0);
}
} // namespace

void substituteMissingFonts()
{
    const QFontDatabase fonts;
    const QStringList names{QStringLiteral("Microsoft YaHei"), QStringLiteral("微软雅黑")};
    for (const QString &name : names) {
        if (fonts.hasFamily(name))
            return; // both names belong to one face
    }
    const QString face = chineseFace(fonts);
    if (face.isEmpty()) {
        qWarning("no font with Chinese characters is installed");
        return;
    }
    for (const QString &name : names)
        QFont::insertSubstitution(name, face);
}
