// A tree of typed properties that has nothing to do with filters.
//     ombrel-properties-example                         shows it
//     ombrel-properties-example FOLDER [--dark]         writes pictures of it
#include "RangeProperty.h"
#include "properties/PropertyTypes.h"
#include "properties/QPropertyDelegate.h"
#include "properties/QPropertyModel.h"

#include <QApplication>
#include <QPalette>

#include <cstdio>

namespace {

void fill(QPropertyModel& model) {
    const auto add = [&](QProperty* property, const char* group) { model.addProperty(property, "", group); };
    model.setShowDescription(true); // before a view is attached
    model.addProperty(new QEmptyProperty("Telescope"), "telescope", "");
    add(new QStringProperty("Name", "shown in the title", "East dome", true), "telescope");
    add(new QIntegerProperty("Mirror", "degrees Celsius", -4, -40, 40, true), "telescope");
    add(new QBoolProperty("Tracking", "follows the sky", true, true), "telescope");
    add(new QBoolProperty("Sealed", "set at the factory", true, false), "telescope");
    add(new QULongProperty("Serial number", "read-only", 18446744073709551615ull, 0, 9, false), "telescope");
    model.addProperty(new QEmptyProperty("Exposure"), "exposure", "");
    add(new QDoubleProperty("Time", "seconds; the step is the minimum", 0.25, 0.001, 100, 3, true),
        "exposure");
    add(new QLongProperty("Frames", "in the series", 400, 1, 100000, true), "exposure");
    auto* const filter = new QListProperty("Filter", "in the wheel", true);
    filter->setList({"clear", "red", "green", "blue"});
    filter->setSelectedText("green");
    model.addProperty(filter, "filter", "exposure");
    add(new RangeProperty("Window", "a kind of this program's own", {0.2, 0.7}), "exposure");
}

void fillComparisons(QPropertyModel& model) {
    model.setShowDescription(true);
    for (const auto& [name, condition] :
         {std::pair("Too warm", "mirror > 12"), std::pair("Dim", "level < 40"),
          std::pair("Done", "frames = 400"), std::pair("Note", "no comparison")})
        model.addProperty(new QStringProperty(name, "coloured by its text", condition, true), "", "");
}

// Shows the view, with the editor of `edited` open when that is valid.
void show(QPropertyTreeView& view, const QModelIndex& edited = {}) {
    view.setColumnWidth(PropertyColumn::Name, 150);
    view.setColumnWidth(PropertyColumn::Value, 170);
    view.setRowHeight(22, false);
    view.expandAll();
    view.show();
    QApplication::processEvents();
    view.setCurrentIndex(edited);
    QApplication::processEvents();
}

bool writePicture(QPropertyTreeView& view, const QString& path) {
    if (view.grab().save(path))
        return true;
    std::fprintf(stderr, "ombrel-properties-example: can't write %s\n", qPrintable(path));
    return false;
}

} // namespace

int main(int argc, char** argv) {
    const bool toFolder = argc > 1;
    if (toFolder)
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    if (toFolder)
        QApplication::setStyle("fusion");
    if (QApplication::arguments().contains("--dark"))
        QApplication::setPalette(QPalette(QColor(53, 53, 53), QColor(49, 49, 49)));

    QPropertyModel model;
    fill(model);
    QPropertyTreeView view(&model);
    view.setWindowTitle("Telescope");
    view.resize(560, 310);
    show(view, model.getIndexFromProperty(model.getProperty("filter"), PropertyColumn::Value));
    if (!toFolder)
        return QApplication::exec();

    const QString folder = QApplication::arguments().at(1);
    const bool written = writePicture(view, folder + "/properties.png");
    QPropertyModel conditions;
    fillComparisons(conditions);
    QPropertyTreeView comparisons(&conditions);
    comparisons.setItemDelegate(new CustomDelegate(&comparisons));
    comparisons.resize(560, 110);
    show(comparisons);
    return written && writePicture(comparisons, folder + "/properties-comparisons.png") ? 0 : 1;
}
