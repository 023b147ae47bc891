#pragma once
#include "tarn/Export.h"
#include "tarn/factory/IRegist.h"
#include <QHash>
#include <QList>
#include <QObject>
#include <QSharedPointer>
#include <QString>
#include <functional>

namespace tarn {

/// Process-wide registry of classes by name. Libraries list a registrar while they are loaded (static initialisation);
/// the host calls registClass() of each later and then constructs objects by class name. GUI thread only, apart from
/// the loading of libraries, which the host does on the GUI thread too.
class TARN_CORE_EXPORT ObjectFactory
{
public:
    using Constructor = std::function<QSharedPointer<QObject>(QObject *parent)>;
    using PointerTypeConstructor = std::function<QObject *(QObject *parent)>;

    /// Class name -> constructor of an object owned by the shared pointer.
    static QHash<QString, Constructor> &constructors();
    /// Class name -> constructor of a plain object, owned by parent or by the caller.
    static QHash<QString, PointerTypeConstructor> &pointerTypeConstructors();
    /// Registrars of the loaded libraries, in loading order; not owned.
    static QList<IRegist *> &regists();
};

} // namespace tarn
