#include "properties/ParamRow.h"

#include "properties/PropertyTypes.h"
#include "properties/QPropertyModel.h"
#include "zt/IParam.h"
#include "zt/Types.h"

#include <limits>

namespace {

using RowPtr = std::unique_ptr<QProperty>;

QString textOf(const zt::IParam& param) {
    return QString::fromUtf8(param.getString().c_str());
}

QString aliasOf(const zt::IParam& param) {
    return QString::fromUtf8(param.getAliasValue().c_str());
}

RowPtr makeAliasRow(const zt::IParam& param, bool editable) {
    QList<QString> aliases;
    for (const std::string& alias : param.getAliasValues())
        aliases << QString::fromStdString(alias);
    auto row = std::make_unique<QListProperty>(QString::fromUtf8(param.name()), editable);
    row->setList(std::move(aliases));
    row->setSelectedText(aliasOf(param));
    return row;
}

// The limits are those of the type, as far as an int goes; the smallest value of 8 and 16 bits is not
// offered, so that their ranges are symmetric.
RowPtr makeTypedRow(const zt::IParam& param, bool editable) {
    const QString name = QString::fromUtf8(param.name());
    const auto integer = [&](int value, int min, int max) -> RowPtr {
        return std::make_unique<QIntegerProperty>(name, value, min, max, editable);
    };
    const auto real = [&](double value, double limit) -> RowPtr {
        return std::make_unique<QDoubleProperty>(name, value, -limit, limit, 5, editable);
    };
    using Int = std::numeric_limits<int>;
    using Long = std::numeric_limits<long long>;
    using ULong = std::numeric_limits<unsigned long long>;
    switch (param.type()) {
    case zt::DT_I8:
        return integer(param.getI8(), -127, 127);
    case zt::DT_U8:
        return integer(param.getU8(), 0, 255);
    case zt::DT_I16:
        return integer(param.getI16(), -32767, 32767);
    case zt::DT_U16:
        return integer(param.getU16(), 0, 65535);
    case zt::DT_I32:
        return integer(param.getInt(), Int::min(), Int::max());
    case zt::DT_U32:
        return integer(static_cast<int>(param.getUInt()), 0, Int::max());
    case zt::DT_I64:
        return std::make_unique<QLongProperty>(name, param.getI64(), Long::min(), Long::max(), editable);
    case zt::DT_U64:
        return std::make_unique<QULongProperty>(name, param.getU64(), 0, ULong::max(), editable);
    case zt::DT_FLOAT:
        return real(param.getFloat(), 1e100);
    case zt::DT_DOUBLE:
        return real(param.getDouble(), 1e300);
    case zt::DT_BOOL:
        return std::make_unique<QBoolProperty>(name, param.getBool(), editable);
    case zt::DT_STRING:
        return std::make_unique<QStringProperty>(name, textOf(param), editable);
    default:
        return nullptr;
    }
}

// Sets the row to the parameter's value, when the row is of this kind and its value, read as T, differs.
template <typename Kind, typename T>
bool replaceValue(QProperty* row, const QVariant& current) {
    auto* const item = dynamic_cast<Kind*>(row);
    if (!item || item->getValue().template value<T>() == current.value<T>())
        return false;
    item->setValue(current); // not setData(), so that no edit is announced
    return true;
}

} // namespace

RowPtr makeParamRow(const zt::IParam& param) {
    const zt::u32 flags = param.flags();
    const bool editable = !(flags & zt::PARAM_READ_ONLY);
    RowPtr row =
        flags & zt::PARAM_HAS_ALIASES ? makeAliasRow(param, editable) : makeTypedRow(param, editable);
    if (row)
        row->setDescription(QString::fromUtf8(param.description()));
    return row;
}

void writeParam(const QProperty& row, zt::IParam& param) {
    const zt::u32 flags = param.flags();
    if (flags & zt::PARAM_READ_ONLY)
        return;
    if (flags & zt::PARAM_HAS_ALIASES) {
        if (const auto* const list = dynamic_cast<const QListProperty*>(&row))
            param.setAliasValue(list->selectedText().toUtf8().constData());
        return;
    }
    const QVariant value = row.data(PropertyColumn::Value, Qt::DisplayRole);
    switch (param.type()) {
    case zt::DT_I8:
        return param.setI8(static_cast<zt::i8>(value.toInt()));
    case zt::DT_U8:
        return param.setU8(static_cast<zt::u8>(value.toInt()));
    case zt::DT_I16:
        return param.setI16(static_cast<zt::i16>(value.toInt()));
    case zt::DT_U16:
        return param.setU16(static_cast<zt::u16>(value.toInt()));
    case zt::DT_I32:
        return param.setInt(value.toInt());
    case zt::DT_U32:
        return param.setUInt(value.toUInt());
    case zt::DT_I64:
        return param.setI64(value.toLongLong());
    case zt::DT_U64:
        return param.setU64(value.toULongLong());
    case zt::DT_FLOAT:
        return param.setFloat(static_cast<float>(value.toDouble()));
    case zt::DT_DOUBLE:
        return param.setDouble(value.toDouble());
    case zt::DT_BOOL:
        return param.setBool(row.data(PropertyColumn::Value, StoredValueRole).toBool());
    case zt::DT_STRING:
        return param.setString(value.toString().toUtf8().constData());
    default:
        return;
    }
}

bool refreshParamRow(QProperty& row, const zt::IParam& param) {
    if (param.flags() & zt::PARAM_HAS_ALIASES) {
        if (auto* const list = dynamic_cast<QListProperty*>(&row))
            list->setSelectedText(aliasOf(param));
        return false; // an open view shows it at its next repaint
    }
    switch (param.type()) {
    case zt::DT_I8:
        return replaceValue<QIntegerProperty, int>(&row, int{param.getI8()});
    case zt::DT_U8:
        return replaceValue<QIntegerProperty, int>(&row, int{param.getU8()});
    case zt::DT_I16:
        return replaceValue<QIntegerProperty, int>(&row, int{param.getI16()});
    case zt::DT_U16:
        return replaceValue<QIntegerProperty, int>(&row, int{param.getU16()});
    case zt::DT_I32:
        return replaceValue<QIntegerProperty, int>(&row, param.getInt());
    case zt::DT_U32:
        return replaceValue<QIntegerProperty, int>(&row, param.getUInt());
    case zt::DT_FLOAT:
        return replaceValue<QDoubleProperty, double>(&row, param.getFloat());
    case zt::DT_DOUBLE:
        return replaceValue<QDoubleProperty, double>(&row, param.getDouble());
    case zt::DT_BOOL:
        return replaceValue<QBoolProperty, bool>(&row, param.getBool());
    case zt::DT_STRING:
        return replaceValue<QProperty, QString>(&row, textOf(param));
    default: // rows of 64-bit integers stay as they are
        return false;
    }
}
