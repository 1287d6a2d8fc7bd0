#include "fixtures/Testing.h"
#include "properties/PropertyTypes.h"
#include "properties/QPropertyModel.h"

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QSignalSpy>

using namespace PropertyColumn;

namespace {

QIntegerProperty* number(const QString& name, int value = 3) {
    return new QIntegerProperty(name, value, 0, 99, true);
}

// The tree as text: "a=3 b=4(c=5 d=6)".
std::string printed(const QAbstractItemModel& model, const QModelIndex& parent = {}) {
    std::string text;
    for (int row = 0; row < model.rowCount(parent); ++row) {
        const QModelIndex index = model.index(row, Name, parent);
        EXPECT_EQ(model.parent(index), parent);
        text += (row ? " " : "") + index.data().toString().toStdString() + "=" +
                index.siblingAtColumn(Value).data().toString().toStdString();
        if (model.hasChildren(index))
            text += "(" + printed(model, index) + ")";
    }
    return text;
}

// How many edits and changes of data a model announces.
struct Announcements {
    explicit Announcements(QPropertyModel& model)
        : edits(&model, &QPropertyModel::onDataChangedByEditor),
          changes(&model, &QPropertyModel::dataChanged) {}

    std::pair<int, int> take() {
        const std::pair counts(static_cast<int>(edits.count()), static_cast<int>(changes.count()));
        edits.clear();
        changes.clear();
        return counts;
    }

    QSignalSpy edits;
    QSignalSpy changes;
};

void settle() {
    QApplication::processEvents();
}

} // namespace

TEST(PropertyModel, FindsItemsByKeyAndByIndex) {
    QPropertyModel model;
    auto* const group = new QEmptyProperty("b");
    EXPECT_TRUE(model.addProperty(number("a"), "first", "", false));
    EXPECT_TRUE(model.addProperty(group, "group", "no such parent", true));
    EXPECT_TRUE(model.addProperty(number("c", 5), "", "group", true));
    EXPECT_NE(model.createProperty("last", "d", "group", "text"), nullptr);
    EXPECT_EQ(printed(model), "a=3 b=(c=5 d=text)");

    EXPECT_FALSE(model.addProperty(nullptr, "null", "", true));
    EXPECT_FALSE(model.addProperty(group, "again", "", true));
    EXPECT_EQ(model.getProperty("again"), nullptr);
    EXPECT_EQ(model.getProperty("group"), group);
    model.addPropertyToMaps(group, "first"); // takes the key over
    model.deletePropertyFromMaps(group);     // the first of its two keys, in their order
    EXPECT_EQ(model.getProperty("first"), nullptr);
    EXPECT_EQ(model.getProperty("group"), group);

    QProperty* const last = model.getProperty("last");
    EXPECT_EQ(model.getIndexFromProperty(last, Name).row(), 1);
    EXPECT_EQ(model.getProperty(model.getIndexFromProperty(last, Value)), last);
    EXPECT_TRUE(model.getIndexFromProperty(last, 2).isValid()); // the column after the last is let through
    EXPECT_FALSE(model.getIndexFromProperty(last, 3).isValid());
    EXPECT_FALSE(model.getIndexFromProperty(last, -1).isValid());
    EXPECT_FALSE(model.getIndexFromProperty(nullptr, Name).isValid());
    EXPECT_EQ(model.getProperty(QModelIndex())->getRowCount(), 2);
    EXPECT_TRUE(model.index(0, 0, model.index(1, 1)).isValid());
    EXPECT_FALSE(model.index(0, 0, model.index(1, 2)).isValid());
}

TEST(PropertyModel, NamesItsColumns) {
    QPropertyModel model;
    EXPECT_EQ(model.columnCount(), 2);
    model.setShowDescription(true);
    EXPECT_EQ(model.columnCount(), 3);
    QStringList names;
    for (int section = -1; section <= 3; ++section)
        names << model.headerData(section, Qt::Horizontal).toString();
    EXPECT_EQ(names.join('|'), "|Property|Value|Description|");
    EXPECT_EQ(model.headerData(7, Qt::Vertical), 7);
    EXPECT_FALSE(model.headerData(0, Qt::Horizontal, Qt::ToolTipRole).isValid());
}

TEST(PropertyModel, AnnouncesEditsButNotWhatTheProgramSets) {
    QPropertyModel model;
    model.addProperty(number("a"), "a", "");
    model.addProperty(new QBoolProperty("b", true, true), "b", "");
    Announcements announced(model);
    const QModelIndex value = model.index(0, Value);

    EXPECT_TRUE(model.setData(value, 4));
    EXPECT_EQ(announced.take(), std::pair(1, 1));
    EXPECT_TRUE(model.setData(value, 4)); // as it was
    EXPECT_TRUE(model.setData(model.index(0, Name), "c"));
    EXPECT_TRUE(model.setData("a", 5, Qt::CheckStateRole));
    EXPECT_FALSE(model.setData("no such key", 5, Qt::EditRole));
    EXPECT_EQ(announced.take(), std::pair(0, 0));
    EXPECT_TRUE(model.setData("b", Qt::Checked, Qt::CheckStateRole)); // an edit of a boolean always counts
    EXPECT_EQ(announced.take(), std::pair(1, 1));

    QProperty* const item = model.getProperty("a");
    item->setUpdateBehaviour(true, false);
    EXPECT_TRUE(model.setData(item, 6, Qt::EditRole));
    EXPECT_EQ(announced.changes.at(1).at(0).toModelIndex(), value);
    EXPECT_EQ(announced.take(), std::pair(1, 2)); // its parent too

    item->setValue(7);
    model.onDataChangedByModel(item);
    model.onDataChangedByModel(nullptr);
    EXPECT_EQ(announced.take(), std::pair(0, 1));
    EXPECT_EQ(printed(model), "a=7 b=Yes");
    model.setDataChanged();
    EXPECT_EQ(announced.take(), std::pair(0, 1));
}

TEST(PropertyModel, SurvivesSlotsThatEndItsItemsWhileAChangeIsAnnounced) {
    auto model = std::make_unique<QPropertyModel>();
    const auto refill = [&] {
        model->clear();
        model->addProperty(number("a"), "a", "");
        model->getProperty("a")->setUpdateBehaviour(true, false);
    };
    refill();
    // In the first signal, of the parent ...
    auto connection = QObject::connect(model.get(), &QPropertyModel::dataChanged, refill);
    QSignalSpy edits(model.get(), &QPropertyModel::onDataChangedByEditor);
    EXPECT_TRUE(model->setData("a", 4, Qt::EditRole));
    EXPECT_THAT(edits, IsEmpty()); // nobody is left to speak of
    QObject::disconnect(connection);
    // ... in the second, of the edit ...
    QObject::connect(model.get(), &QPropertyModel::onDataChangedByEditor, refill);
    EXPECT_TRUE(model->setData("a", 4, Qt::EditRole));
    EXPECT_EQ(printed(*model), "a=3");
    // ... and with the model itself.
    QObject::connect(model.get(), &QPropertyModel::onDataChangedByEditor, [&] { model.reset(); });
    EXPECT_TRUE(model->setData("a", 4, Qt::EditRole));
    EXPECT_EQ(model, nullptr);
}

TEST(PropertyModel, KeepsTheRulesOfModelsOnFlatTrees) {
    QPropertyModel model;
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    QPropertyTreeView view(&model);
    view.show();
    for (int round = 0; round < 2; ++round) {
        for (const char* name : {"a", "b", "c"})
            model.addProperty(number(name), name, "");
        model.addProperty(new QBoolProperty("d", true, true), "d", "");
        settle();
        view.setCurrentIndex(model.index(1, Value));
        EXPECT_NE(view.indexWidget(model.index(1, Value)), nullptr);
        model.setData("c", 12, Qt::EditRole);
        model.setData("d", Qt::Unchecked, Qt::CheckStateRole);
        EXPECT_EQ(printed(model), "a=3 b=3 c=12 d=No");
        model.clear(); // with the editor open
        EXPECT_EQ(printed(model), "");
    }
}

// A top-level row is announced below the root's own index, which no view knows of.
TEST(PropertyModel, LeavesTopLevelRowsOutOfAViewThatIsShownAlready) {
    QPropertyModel model;
    const auto add = [&](const char* name) { model.addProperty(number(name), name, ""); };
    add("a");
    add("b");
    QPropertyTreeView view(&model);
    const auto visibleRows = [&] {
        settle();
        int rows = 0;
        for (int row = 0; row < model.rowCount(); ++row)
            rows += view.visualRect(model.index(row, Name)).isValid();
        return rows;
    };
    view.show();
    EXPECT_EQ(visibleRows(), 2);
    add("c");
    add("d");
    EXPECT_EQ(visibleRows(), 2);
    model.addProperty(number("below a"), "below", "a");
    view.expand(model.index(0, Name));
    settle();
    EXPECT_TRUE(view.visualRect(model.getIndexFromProperty(model.getProperty("below"), Name)).isValid());
    model.clear();
    add("e");
    add("f");
    add("g");
    EXPECT_EQ(visibleRows(), 3); // in one turn of the event loop
    model.clear();
    settle();
    add("h");
    EXPECT_EQ(visibleRows(), 0);
}
