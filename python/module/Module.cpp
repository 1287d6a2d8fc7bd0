#include "base/Error.h"
#include "frame/PixelFaults.h"
#include "host/Session.h"
#include "module/Bindings.h"
#include "module/Messages.h"

#include <dlfcn.h>
#include <filesystem>
#include <pybind11/stl.h>

namespace py = pybind11;

namespace ombrel::python {

namespace {

std::filesystem::path moduleFolder() {
    Dl_info place{};
    ::dladdr(reinterpret_cast<const void*>(&moduleFolder), &place);
    return std::filesystem::path(place.dli_fname ? place.dli_fname : "").parent_path();
}

std::vector<std::string> filterNames() {
    Session session(console(), pluginPath(), {});
    std::vector<std::string> names;
    for (const zt::IDataFilter* const filter : session.filters())
        names.push_back(filterName(*filter));
    return names;
}

} // namespace

std::string pluginPath() {
    std::string tried;
    for (const char* const place : {OMBREL_BUILT_PLUGIN, OMBREL_INSTALLED_PLUGIN}) {
        const auto path = (moduleFolder() / place).lexically_normal();
        if (std::error_code failed; std::filesystem::exists(path, failed))
            return path.string();
        tried += (tried.empty() ? "" : " nor at ") + path.string();
    }
    throw Error("the plug-in is neither at " + tried + "; install the package ombrel of the same version");
}

} // namespace ombrel::python

PYBIND11_MODULE(_ombrel, module) {
    using namespace ombrel::python;
    module.doc() = "What the package ombrel needs of the open host's library.";
    module.attr("version") = OMBREL_VERSION;
    registerErrors();
    silenceFilters();
    bindScan(module);
    bindChain(module);
    bindRun(module);
    bindCalibration(module);
    module.def("filters", &filterNames);
    module.def("plugin", &pluginPath);
    module.def("fault_text", &ombrel::faultText);
}
