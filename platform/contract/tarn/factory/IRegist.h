#pragma once

namespace tarn {

/// Registers one or more classes with the ObjectFactory. A library keeps one static instance in ObjectFactory::regists().
class IRegist
{
public:
    virtual ~IRegist() = default;
    /// Called by the host on the GUI thread, once per loading; an existing entry of the same name is replaced.
    virtual void registClass() = 0;
};

} // namespace tarn
