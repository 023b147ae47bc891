#pragma once
#include "tarn/args/IServiceArgs.h"

// Arguments of the upgrade service ("Upgared" is the platform's spelling). Keys and return codes: UpgradeKeys.h.

/// Software information: the one input with a list, of software update records.
class IUpgaredSoftInfoService_InputParam
{
public:
    virtual void SetValue(const QString &key, const QVariant &value) = 0;
    virtual QVariant GetValue(const QString &key) = 0;
    virtual QList<QVariant> GetValueList() = 0;
    virtual void SetValueList(const QList<QVariant> &list) = 0;
    virtual void SetError(const QString &error) = 0;
    virtual QString GetError() = 0;
    virtual ~IUpgaredSoftInfoService_InputParam() = default;
};

class IUpgaredSoftInfoService_OutputParam : public tarn::IServiceOutputArgs
{
};

/// Patches and running tasks.
class IUpgaredService_InputParam : public tarn::IServiceInputArgs
{
};

class IUpgaredService_OutputParam : public tarn::IServiceOutputArgs
{
};
