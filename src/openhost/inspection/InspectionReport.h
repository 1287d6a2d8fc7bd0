#pragma once

#include "inspection/FlatInspection.h"
#include "settings/Settings.h"

#include <QByteArray>

#include <string>
#include <string_view>
#include <vector>

namespace ombrel {

// The key, in ombrel's own group, of the verdicts on the frames that settings were made from.
inline constexpr std::string_view inspectionKey = "Inspection";

// Whether the suffix selects a kind of report: .json or .html.
bool isReportPath(const std::string& path);

// Whether the report has pictures.
bool needsThumbnails(const std::string& path);

// Writes figures and verdicts of all sets: as JSON, or as one page with pictures that needs no other file.
// Throws Error.
void writeInspection(const std::string& path, const std::vector<InspectionReport>& reports);

// File, frame number, level and verdict of each frame, as compact JSON.
std::string inspectionJson(const std::vector<InspectionReport>& reports);

// The table of `ombrel inspect`.
std::string inspectionTable(const InspectionReport& report);

// What settings say about the frames that they were made from, as one line: empty if nothing, or that the
// filters' groups have been changed since.
std::string inspectionNote(const SettingsTree& settings);

} // namespace ombrel
