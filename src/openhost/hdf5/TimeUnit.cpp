#include "hdf5/TimeUnit.h"

#include "base/Error.h"

#include <memory>
#include <mutex>
#include <udunits2.h>

namespace ombrel {

namespace {

struct FreeUnit {
    void operator()(ut_unit* unit) const { ut_free(unit); }
};
struct FreeConverter {
    void operator()(cv_converter* converter) const { cv_free(converter); }
};

using Unit = std::unique_ptr<ut_unit, FreeUnit>;

// The database is a file that is read when the first unit is met; null when that fails.
ut_system* unitSystem() {
    static ut_system* const system = [] {
        ut_set_error_message_handler(ut_ignore); // it writes to standard error
        return ut_read_xml(nullptr);
    }();
    return system;
}

Unit parsedUnit(ut_system* system, std::string text) {
    text.push_back('\0');
    ut_trim(text.data(), UT_UTF8);
    for (const ut_encoding encoding : {UT_UTF8, UT_LATIN1})
        if (Unit unit{ut_parse(system, text.c_str(), encoding)})
            return unit;
    return nullptr;
}

// Units of frequency are convertible too, by the reciprocal: only a factor makes a time.
double factorBetween(ut_unit* unit, ut_unit* second) {
    const std::unique_ptr<cv_converter, FreeConverter> converter{ut_get_converter(unit, second)};
    if (!converter)
        return 0;
    const double factor = cv_convert_double(converter.get(), 1);
    return cv_convert_double(converter.get(), 0) == 0 && cv_convert_double(converter.get(), 2) == 2 * factor
               ? factor
               : 0;
}

} // namespace

double secondsIn(const std::string& unit) {
    if (unit == "s")
        return 1;
    static std::mutex mutex;
    const std::lock_guard lock(mutex); // the library is made for one thread
    ut_system* const system = unitSystem();
    if (!system)
        throw Error("the unit \"" + unit +
                    "\" cannot be looked up: the database of UDUNITS is missing or damaged; install "
                    "libudunits2-data or set UDUNITS2_XML_PATH");
    const Unit second{ut_get_unit_by_name(system, "second")};
    const Unit parsed = parsedUnit(system, unit);
    const double factor = parsed && second ? factorBetween(parsed.get(), second.get()) : 0;
    if (!(factor > 0))
        throw Error("\"" + unit + "\" is not a unit of time; use s, ms, microsecond, min or the like");
    return factor;
}

} // namespace ombrel
