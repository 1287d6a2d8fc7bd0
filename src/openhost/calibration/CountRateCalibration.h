#pragma once

#include "base/Console.h"
#include "calibration/BeamHardeningCalibration.h"

#include <span>
#include <vector>

namespace ombrel {

// The command line of `ombrel calibrate count-rate`; its masks are "FLUX=FILE[,FILE...]".
using CountRateOptions = MaskCalibrateOptions;

// The work of the command: settings of Beam-hardening whose masks are counts at known fluxes, so that its
// result is the flux. See docs/count-rate.md. Throws UsageError or Error, and then has written
// at most the inspection's report.
void calibrateCountRate(const CountRateOptions& options, Console& console);

// The fluxes of the masks: the measured ones and more between them, so that a straight line from one mask to
// the next is exact enough. `measured` is descending, and so is the result.
std::vector<double> maskFluxes(std::span<const double> measured);

// The factors of the logarithms measured at these fluxes that give the logarithm at another one: the
// polynomial through the up to four nearest in the logarithm of the flux.
std::vector<double> interpolationFactors(std::span<const double> measured, double flux);

} // namespace ombrel
