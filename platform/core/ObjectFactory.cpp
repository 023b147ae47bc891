#include "tarn/factory/ObjectFactory.h"

namespace tarn {

// Function-local statics: registrars are listed during the static initialisation of other libraries.
QHash<QString, ObjectFactory::Constructor> &ObjectFactory::constructors()
{
    static QHash<QString, Constructor> table;
    return table;
}

QHash<QString, ObjectFactory::PointerTypeConstructor> &ObjectFactory::pointerTypeConstructors()
{
    static QHash<QString, PointerTypeConstructor> table;
    return table;
}

QList<IRegist *> &ObjectFactory::regists()
{
    static QList<IRegist *> list;
    return list;
}

} // namespace tarn
