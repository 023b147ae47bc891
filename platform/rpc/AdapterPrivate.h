#pragma once
#include "rpc/Core.h"
#include "tarn/rpc/RpcAdapter.h"
#include <any>

namespace tarn::rpc {

class RpcAdapter::Private
{
public:
    Private(std::shared_ptr<Rpc::Private> owner, const QString &name)
        : core(std::move(owner))
        , state(core->newAdapter(name))
    {
    }
    RpcError add(const std::any &object, const QString &interfaceName, const QString &tag, bool published);

    const std::shared_ptr<Rpc::Private> core;
    const std::shared_ptr<AdapterState> state;
};

} // namespace tarn::rpc
