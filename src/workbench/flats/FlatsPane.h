#pragma once

#include "flats/CalibrationJob.h"

#include <QImage>
#include <QWidget>

#include <optional>
#include <string>
#include <vector>

class QLabel;
class QTableWidget;

namespace ombrel::workbench {

// The verdicts on the flat fields of a calibration: a row for each frame, with its picture. A click on a row
// shows the frame in full, with the tile that deviates most.
class FlatsPane final : public QWidget {
    Q_OBJECT
public:
    // An empty `pluginPath` searches for the plug-in.
    FlatsPane(Console& console, std::string pluginPath, QWidget* parent = nullptr);

    // Asks for flat fields and for the settings file, and calibrates. `open` are proposed as flat fields.
    void ask(const std::vector<std::string>& open);
    void calibrate(const std::vector<std::string>& flats, const std::string& output);

signals:
    void inspected();
    // The settings of Flat-Field are in that file.
    void calibrated(const QString& settings);
    void logged(const QString& line);

private:
    struct Row {
        std::size_t set;
        std::size_t field;
    };

    void show(const std::vector<InspectionReport>& inspection);
    void addSet(std::size_t set);
    void choose(int row);
    void chooseNext();
    void showFlat(const QImage& picture);
    void fitPicture();
    void resizeEvent(QResizeEvent* event) override;

    std::string plugin;
    QTableWidget* table;
    QLabel* summary;
    QLabel* picture;
    QImage shown;
    std::vector<InspectionReport> reports;
    std::vector<Row> rows;
    std::optional<Row> chosen;
    bool isRowWaiting = false; // chosen while another one was read
    CalibrationJob job;        // last member: it ends before the widgets that its signals reach
};

} // namespace ombrel::workbench
