#pragma once
#include "frame/VisualizedEvents.h"

/// What a handler of the manager needs from its event; null means that there is nothing to handle.
namespace request {

/// The event's data if it is a CVisualizedEvents that carries a Data.
template <class Data>
Data *dataOf(QEvent *e)
{
    const auto *request = dynamic_cast<CVisualizedEvents *>(e);
    return request ? dynamic_cast<Data *>(request->GetEventData()) : nullptr;
}

/// The same for data with an input object, which must be there too.
template <class Data>
Data *withInput(QEvent *e)
{
    Data *data = dataOf<Data>(e);
    return data && data->inputArgs ? data : nullptr;
}

} // namespace request
