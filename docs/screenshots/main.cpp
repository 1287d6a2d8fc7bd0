// Makes the pictures of the documents from the real windows.
//     ombrel-screenshots FOLDER [--dark] [--empty]
// --empty also takes the windows of unconfigured filters, for reviews of the windows.
// QT_SCALE_FACTOR=2 makes them as on a display of twice the density.
#include "SampleFilters.h"
#include "WindowPicture.h"

#include <QApplication>
#include <QPalette>
#include <QTableWidget>
#include <QTemporaryDir>

#include <cstdio>
#include <exception>

namespace {

QPalette darkPalette() {
    QPalette palette(QColor(0x35, 0x35, 0x35), QColor(0x31, 0x31, 0x31));
    palette.setColor(QPalette::Base, QColor(0x23, 0x23, 0x23));
    palette.setColor(QPalette::AlternateBase, QColor(0x2b, 0x2b, 0x2b));
    palette.setColor(QPalette::Highlight, QColor(0x2a, 0x82, 0xda));
    return palette;
}

void nameMasks(QWidget& window) {
    auto* const table = window.findChild<QTableWidget*>("twMasks");
    for (int row = 0; row < table->rowCount(); ++row)
        table->item(row, 0)->setText(
            row == table->rowCount() - 1 ? QString("Open beam") : "Aluminium " + table->item(row, 1)->text());
}

void takePictures(const PictureFolder& pictures, bool emptyToo) {
    SampleFilters filters;
    {
        const ombrel::FilterLink link = filters.flatField();
        if (emptyToo)
            pictures.take("flat-field-empty", [&] { link.filter().showConfigGUI(); });
        filters.fillFlatField(link.filter());
        pictures.take("flat-field", [&] { link.filter().showConfigGUI(); });
    }
    const ombrel::FilterLink link = filters.beamHardening();
    if (emptyToo)
        pictures.take("beam-hardening-empty", [&] { link.filter().showConfigGUI(); });
    filters.fillBeamHardening(link.filter());
    pictures.take(
        "beam-hardening", [&] { link.filter().showConfigGUI(); }, nameMasks);
    qDeleteAll(QApplication::topLevelWidgets());
}

} // namespace

int main(int argc, char** argv) {
    const QTemporaryDir settings;
    qputenv("XDG_CONFIG_HOME", settings.path().toUtf8());
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    const QStringList arguments = QApplication::arguments();
    if (arguments.size() < 2) {
        std::fprintf(stderr, "usage: ombrel-screenshots FOLDER [--dark] [--empty]\n");
        return 2;
    }
    QApplication::setStyle("fusion");
    QApplication::setFont(QFont("DejaVu Sans", 9));
    if (arguments.contains("--dark"))
        QApplication::setPalette(darkPalette());
    try {
        takePictures({arguments[1]}, arguments.contains("--empty"));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "ombrel-screenshots: %s\n", error.what());
        return 1;
    }
}
