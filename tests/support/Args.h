#pragma once

#include "tarn/cloud/ICloudServiceArgs.h"
#include "tarn/core/BagArgs.h"
#include "tarn/license/ILicenseServiceArgs.h"
#include "tarn/message/IMessageServiceArgs.h"
#include "tarn/upgrade/IUpgradeServiceArgs.h"
#include <QSharedPointer>

// Argument objects of the four families, as a caller makes them. args::input<args::MessageIn>({{"MsgId", "1"}}).
namespace args {

using CloudIn = tarn::core::InputArgs<ICloudService_InputArgs>;
using CloudOut = tarn::core::OutputArgs<ICloudService_OutputArgs>;
using LicenseIn = tarn::core::InputArgs<ILicenseService_InputArgs>;
using LicenseOut = tarn::core::OutputArgs<ILicenseService_OutputArgs>;
using MessageIn = tarn::core::InputArgs<IMessageService_InputArgs>;
using MessageOut = tarn::core::OutputArgs<IMessageService_OutputArgs>;
using SoftIn = tarn::core::InputListArgs<IUpgaredSoftInfoService_InputParam>;
using SoftOut = tarn::core::OutputArgs<IUpgaredSoftInfoService_OutputParam>;
using PatchIn = tarn::core::InputArgs<IUpgaredService_InputParam>;
using PatchOut = tarn::core::OutputArgs<IUpgaredService_OutputParam>;

constexpr int Untouched = -77;

template <class In>
QSharedPointer<In> input(const QVariantMap &values = {}, const QVariantList &list = {})
{
    return QSharedPointer<In>::create(tarn::rpc::Bag{values, list});
}

// An output whose code and error show whether anybody has written them.
template <class Out>
QSharedPointer<Out> output()
{
    auto out = QSharedPointer<Out>::create();
    out->SetRetCode(Untouched);
    out->SetError(QStringLiteral("untouched"));
    return out;
}

template <class Out>
bool isUntouched(const QSharedPointer<Out> &out)
{
    return out->GetRetCode() == Untouched && out->GetError() == QLatin1String("untouched") &&
           out->bag().values.isEmpty() && out->bag().list.isEmpty();
}

} // namespace args
