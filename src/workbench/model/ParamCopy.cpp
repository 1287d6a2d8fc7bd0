#include "model/ParamCopy.h"

#include "zt/String.h"

namespace ombrel::workbench {

namespace {

ParamValue valueOf(const zt::IParam& param) {
    switch (param.type()) {
    case zt::DT_I8:
        return param.getI8();
    case zt::DT_U8:
        return param.getU8();
    case zt::DT_I16:
        return param.getI16();
    case zt::DT_U16:
        return param.getU16();
    case zt::DT_I32:
        return param.getInt();
    case zt::DT_U32:
        return param.getUInt();
    case zt::DT_I64:
        return param.getI64();
    case zt::DT_U64:
        return param.getU64();
    case zt::DT_FLOAT:
        return param.getFloat();
    case zt::DT_DOUBLE:
        return param.getDouble();
    case zt::DT_BOOL:
        return param.getBool();
    default:
        return param.getString();
    }
}

} // namespace

std::vector<ParamCopy> paramCopiesOf(const zt::IDataFilter& filter) {
    std::vector<ParamCopy> copies;
    zt::PtrList<zt::IParam*> params;
    if (const zt::IParamMgr* const manager = filter.parameters())
        manager->params(&params);
    for (const zt::IParam* const param : params.vect()) {
        ParamCopy copy{param->name(), param->description(), valueOf(*param), {}, {}};
        copy.isReadOnly = param->flags() & zt::PARAM_READ_ONLY;
        if (param->flags() & zt::PARAM_HAS_ALIASES)
            copy.aliases = param->getAliasValues();
        copies.push_back(std::move(copy));
    }
    return copies;
}

std::string textOf(const zt::IParam& param) {
    return param.flags() & zt::PARAM_HAS_ALIASES ? param.getAliasValue() : param.getString();
}

} // namespace ombrel::workbench
