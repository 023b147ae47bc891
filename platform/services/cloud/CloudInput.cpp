#include "services/cloud/CloudInput.h"
#include "tarn/keys/CloudKeys.h"
#include <algorithm>

namespace tarn::services {

namespace key = cloud::key;

bool isPlainText(const QString &text)
{
    const QVector<uint> points = text.toUcs4();
    return std::none_of(points.cbegin(), points.cend(), [](uint point) {
        const QChar::Category category = QChar::category(point);
        return category == QChar::Other_Control || category == QChar::Other_Format ||
               category == QChar::Separator_Line || category == QChar::Separator_Paragraph;
    });
}

bool isPhone(const QString &text)
{
    constexpr int Digits = 11;
    return text.size() == Digits &&
           std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c >= u'0' && c <= u'9'; });
}

SignInFlags::SignInFlags(const RequestReader &request)
    : autoLogin(request.flag(key::AutoLogin))
    , remember(request.flag(key::Remember) || autoLogin)
    , lockTip(request.flag(key::YunLockErrorTip))
{
}

} // namespace tarn::services
