#include "fixtures/Testing.h"
#include "properties/PropertyTypes.h"
#include "properties/QPropertyModel.h"
#include "properties/SpinBoxEditor.h"

#include <QApplication>
#include <QBrush>
#include <QFont>
#include <QStyleOptionViewItem>

using namespace PropertyColumn;

namespace {

// What the columns before, of and behind the tree answer; "-" where nothing.
std::string rowOf(const QProperty& item, int role) {
    QStringList cells;
    for (int column = -1; column <= 3; ++column) {
        const QVariant answer = item.data(column, role);
        cells << (answer.isValid() ? answer.toString() : "-");
    }
    return cells.join('|').toStdString();
}

// A letter for each flag: selectable, enabled, editable, checkable.
std::string flagsOf(const QProperty& item) {
    QStringList cells;
    for (int column = 0; column <= 3; ++column) {
        const Qt::ItemFlags flags = item.flags(column);
        QString letters;
        for (const auto& [flag, letter] :
             {std::pair(Qt::ItemIsSelectable, 's'), std::pair(Qt::ItemIsEnabled, 'e'),
              std::pair(Qt::ItemIsEditable, 'E'), std::pair(Qt::ItemIsUserCheckable, 'C')})
            letters += flags & flag ? QString(letter) : QString();
        cells << letters;
    }
    return cells.join('|').toStdString();
}

template <typename Editor>
std::unique_ptr<Editor> editorOf(QProperty& item) {
    auto* const editor = qobject_cast<Editor*>(item.createEditor(nullptr, QStyleOptionViewItem(), nullptr));
    EXPECT_NE(editor, nullptr);
    EXPECT_EQ(editor->isEnabled(), item.isEditable());
    EXPECT_EQ(editor->sizePolicy(), QSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding));
    return std::unique_ptr<Editor>(editor);
}

} // namespace

TEST(PropertyItem, AnswersByColumnAndRole) {
    const QIntegerProperty number("Bias", "volts", 150, 0, 500, true);
    EXPECT_EQ(rowOf(number, Qt::DisplayRole), "-|Bias|150|volts|-");
    EXPECT_EQ(rowOf(number, Qt::EditRole), "-|-|150|volts|-");
    EXPECT_EQ(rowOf(number, Qt::ToolTipRole), "volts|volts|volts|volts|volts");
    EXPECT_EQ(rowOf(number, Qt::CheckStateRole), "-|-|-|-|-");

    const QBoolProperty flag("Cooled", "by water", true, true);
    EXPECT_EQ(rowOf(flag, Qt::DisplayRole), "-|Cooled|Yes|by water|-");
    EXPECT_EQ(rowOf(flag, Qt::CheckStateRole), "-|-|2|-|-");
    EXPECT_EQ(rowOf(flag, Qt::ToolTipRole), "by water|by water|true|by water|by water");
    EXPECT_EQ(flag.data(Value, StoredValueRole), QVariant(true));
    EXPECT_EQ(rowOf(QBoolProperty("Open", false, true), Qt::EditRole), "-|-|No||-");

    const QEmptyProperty heading("Exposure");
    EXPECT_EQ(rowOf(heading, Qt::DisplayRole), "-|Exposure|-||-");
    EXPECT_EQ(heading.data(Value, Qt::FontRole).value<QFont>().weight(), 700);
    EXPECT_EQ(heading.data(Name, Qt::BackgroundRole).value<QBrush>(), QBrush(QColor(217, 217, 217)));
}

TEST(PropertyItem, TellsWhatAUserMayDo) {
    EXPECT_EQ(flagsOf(QProperty("", true)), "se|seE|se|");
    EXPECT_EQ(flagsOf(QStringProperty("", "", false)), "se|se|se|");
    EXPECT_EQ(flagsOf(QBoolProperty("", true, true)), "se|seC|se|");
    EXPECT_EQ(flagsOf(QBoolProperty("", true, false)), "se||se|");
    EXPECT_EQ(flagsOf(QEmptyProperty("")), "se|se|se|se");
}

TEST(PropertyItem, TakesEditsAndSaysWhetherTheyChangedIt) {
    QIntegerProperty number("", 3, 0, 9, true);
    EXPECT_EQ(number.getValue().typeId(), QMetaType::Int);
    EXPECT_FALSE(number.setData(3.0, Qt::EditRole)); // equal, and stored all the same
    EXPECT_EQ(number.getValue().typeId(), QMetaType::Double);
    EXPECT_EQ(number.getEditorData(nullptr), QVariant(0));

    QBoolProperty flag("", true, true);
    EXPECT_TRUE(flag.setData(Qt::PartiallyChecked, Qt::CheckStateRole));
    EXPECT_EQ(flag.getValue(), QVariant(false));
    EXPECT_TRUE(flag.setData(Qt::Checked, Qt::CheckStateRole));
    EXPECT_TRUE(flag.setData("true", Qt::EditRole)); // unchanged
    EXPECT_FALSE(flag.setData(false, Qt::DisplayRole));
    EXPECT_EQ(flag.getValue(), QVariant(true));
}

TEST(PropertyItem, TakesDecimalsOfADoubleFromItsStep) {
    for (const auto& [min, step, decimals] :
         {std::tuple(-1e300, 0.0001, 4), std::tuple(0.0, 0.0001, 4), std::tuple(0.001, 0.001, 3),
          std::tuple(0.25, 0.25, 0), std::tuple(100.0, 100.0, 2)}) {
        QDoubleProperty number("", 200, min, 1e6, 5, true);
        const auto box = editorOf<QPTVDoubleSpinBox>(number);
        EXPECT_EQ(box->singleStep(), step) << min;
        EXPECT_EQ(box->decimals(), decimals) << min;
        EXPECT_EQ(box->maximum(), 1e6);
        EXPECT_EQ(number.getEditorData(box.get()), QVariant(200.0));
    }
    QDoubleProperty number("", 5, -1, 1, 5, true);
    number.setMinMax(-100, 100); // the integer limits of the base: no effect
    EXPECT_EQ(editorOf<QPTVDoubleSpinBox>(number)->value(), 1);
    number.setMinMaxPrec(0.5, 10, 1);
    EXPECT_EQ(editorOf<QPTVDoubleSpinBox>(number)->singleStep(), 0.5);
    EXPECT_EQ(number.getEditorData(nullptr).typeId(), QMetaType::Int);
}

TEST(PropertyItem, ShowsDoublesInSignificantDigits) {
    QPTVDoubleSpinBox box;
    box.setDecimals(4);
    for (const auto& [number, text] : {std::pair(0.5, " 0.5"), std::pair(1.0, "   1"),
                                       std::pair(12.3456789, "12.35"), std::pair(12345678.0, "1.235e+07")})
        EXPECT_EQ(box.textFromValue(number), text);
    // In a locale whose point groups digits, a text of the box is still read as it was written.
    QLocale::setDefault(QLocale::German);
    QPTVDoubleSpinBox german;
    QLocale::setDefault(QLocale::English);
    german.setDecimals(4);
    EXPECT_EQ(german.valueFromText(german.textFromValue(0.5)), 0.5);
}

TEST(PropertyItem, ReachesTheComboBoxOnlyWhileItStands) {
    QListProperty choice("Mode", false);
    choice.setList({"linear", "mosaic"});
    choice.setSelectedText("mosaic");
    auto box = editorOf<QComboBox>(choice);
    EXPECT_EQ(box->count(), 2);
    EXPECT_EQ(box->currentText(), "mosaic");
    choice.setSelectedText("linear");
    EXPECT_EQ(box->currentText(), "linear");
    box->setCurrentIndex(1); // not committed, and yet what is selected
    EXPECT_EQ(choice.selectedText(), "mosaic");
    EXPECT_EQ(choice.getEditorData(box.get()), "mosaic");
    box.reset();
    EXPECT_EQ(choice.selectedText(), "linear");
    choice.setSelectedText("none of them");
    EXPECT_EQ(choice.selectedText(), "none of them");
    EXPECT_EQ(choice.getEditorData(nullptr), "none of them");
}

TEST(PropertyItem, OwnsItsChildrenOnce) {
    QProperty root("", true);
    auto* const a = new QProperty("a", true);
    auto* const b = new QProperty("b", true);
    EXPECT_EQ(root.addChild(a), 0);
    EXPECT_EQ(root.addChild(b), 1);
    EXPECT_EQ(root.addChild(a), 0);
    EXPECT_EQ(root.addChild(nullptr), -1);
    EXPECT_THAT(root.getChildren(), ElementsAre(a, b));
    EXPECT_EQ(root.getChild(-1), nullptr);
    EXPECT_EQ(root.getChild(2), nullptr);

    b->addChild(a); // moves
    EXPECT_THAT(root.getChildren(), ElementsAre(b));
    EXPECT_EQ(a->getParent(), b);
    b->removeChild(a); // gives up without deleting
    EXPECT_EQ(a->getParent(), nullptr);
    a->setParent(&root);
    EXPECT_EQ(root.getChildRow(a), 1);
    delete b;
    EXPECT_THAT(root.getChildren(), ElementsAre(a)); // which the sanitizers see deleted with the root
}
