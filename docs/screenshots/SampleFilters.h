#pragma once

#include "host/Chain.h"
#include "host/Host.h"
#include "host/PluginLibrary.h"

// The plug-in on a host with a device, and what users fill its filters with.
class SampleFilters {
public:
    SampleFilters();

    ombrel::FilterLink flatField() { return ombrel::FilterLink(host, device, "Flat-Field"); }
    ombrel::FilterLink beamHardening() { return ombrel::FilterLink(host, device, "Beam-hardening"); }

    // Coefficients of several files.
    void fillFlatField(zt::IDataFilter& filter);
    // Five masks, of which the last came in out of order.
    void fillBeamHardening(zt::IDataFilter& filter);

private:
    ombrel::Host host;
    ombrel::Device& device;
    ombrel::PluginLibrary library;
};
