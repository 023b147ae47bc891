#pragma once
#include "tarn/Export.h"
#include <QString>
#include <QVector>

namespace tarn::binding {

/// One key of an operation's input or output bag.
struct OperationKey
{
    QString name;
    QString type;    ///< "bool", "int", "u64", "string", "rect", "object", "list" (the bag's list), or a record's name
    QString meaning; ///< one English phrase
    bool required = false;
};

/// A map that travels as a value: an element of the bag's list, or a part of such an element.
struct Record
{
    QString name;
    QString summary; ///< one English sentence
    QVector<OperationKey> keys;
};

/// One operation of the visualized service as remote callers use it: object tag "IVisualizedService", interface
/// "IVisualizedService", method = name.
struct Operation
{
    QString name;
    QString family;      ///< "cloud", "upgrade", "message", "licence"
    int successCode = 0; ///< return code when accepted; 0: the operation sets none
    QString summary;     ///< one English sentence
    QVector<OperationKey> input;
    QVector<OperationKey> output;
};

/// All operations, in the order of the interface. docs/operations.md is written from this table.
TARN_RPC_EXPORT const QVector<Operation> &visualizedOperations();

/// The records that the bag's list holds, with the records inside them.
TARN_RPC_EXPORT const QVector<Record> &visualizedRecords();

/// The text of docs/operations.md.
TARN_RPC_EXPORT QString operationsDocument();

} // namespace tarn::binding
