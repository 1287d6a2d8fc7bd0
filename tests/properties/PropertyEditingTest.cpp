#include "fixtures/Testing.h"
#include "properties/PropertyTypes.h"
#include "properties/QPropertyDelegate.h"
#include "properties/QPropertyModel.h"

#include <QApplication>
#include <QClipboard>
#include <QDoubleSpinBox>
#include <QLineEdit>
#include <QSpinBox>
#include <QTest>
#include <QVBoxLayout>

using namespace PropertyColumn;

namespace {

// A tree in a window, with a field beside it that the focus can go to. Edits are noted as "NAME=VALUE".
class PropertyEditing : public testing::Test {
protected:
    PropertyEditing() {
        auto* const layout = new QVBoxLayout(&window);
        layout->addWidget(&view);
        layout->addWidget(&elsewhere);
        window.resize(400, 300);
        QObject::connect(&model, &QPropertyModel::onDataChangedByEditor, [this](QProperty* item) {
            edits.push_back((item->getName() + "=" + item->getValue().toString()).toStdString());
        });
    }

    void show(std::initializer_list<QProperty*> items) {
        for (QProperty* item : items)
            model.addProperty(item, item->getName(), "");
        view.setModel(&model);
        window.show();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&window, 60'000)); // as long as a slow machine takes
        elsewhere.setFocus();
    }

    QModelIndex valueOf(const char* name) {
        return model.getIndexFromProperty(model.getProperty(name), Value);
    }

    void click(const QModelIndex& index, int fromLeft = 40) {
        const QRect cell = view.visualRect(index);
        QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, {cell.left() + fromLeft, cell.center().y()});
    }

    // Clicks on the value, and gives the editor that this opens.
    template <typename Editor = QWidget>
    Editor* open(const char* name) {
        click(valueOf(name));
        return qobject_cast<Editor*>(view.indexWidget(valueOf(name)));
    }

    // Clicks on the value, looks, and goes elsewhere.
    void visit(const char* name) {
        EXPECT_NE(open(name), nullptr) << name;
        leave();
    }

    void leave() {
        QTest::mouseClick(&elsewhere, Qt::LeftButton);
        EXPECT_TRUE(elsewhere.hasFocus());
        settle();
    }

    // Also lets closed editors end.
    void settle() {
        QApplication::processEvents();
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    static void press(int key) { QTest::keyClick(QApplication::focusWidget(), static_cast<Qt::Key>(key)); }
    static void type(const char* text) { QTest::keyClicks(QApplication::focusWidget(), text); }

    std::vector<std::string> takeEdits() { return std::exchange(edits, {}); }

    std::vector<std::string> edits;
    QPropertyModel model;
    QWidget window;
    QPropertyTreeView view;
    QLineEdit elsewhere;
};

QListProperty* choice(const QString& name, const QString& selected) {
    auto* const item = new QListProperty(name, true);
    item->setList({"linear", "look around", "mosaic"});
    item->setSelectedText(selected);
    return item;
}

} // namespace

TEST_F(PropertyEditing, CommitsByEnterTabAndLossOfFocusAndNotByEscape) {
    auto* const plain = new QProperty("plain", true);
    plain->setValue(7);
    show({new QIntegerProperty("int", 5, 0, 99, true), new QDoubleProperty("double", 1, -9, 9, 5, true),
          new QStringProperty("text", "old", true), choice("list", "mosaic"), plain});
    ASSERT_NE(open<QSpinBox>("int"), nullptr);
    type("42");
    press(Qt::Key_Enter);
    settle();
    EXPECT_THAT(takeEdits(), ElementsAre("int=42"));
    EXPECT_EQ(view.indexWidget(valueOf("int")), nullptr);

    open("double");
    press(Qt::Key_Home); // typed over what is selected
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_A, Qt::ControlModifier);
    type("2.3456");
    press(Qt::Key_Tab); // on to the next value
    settle();
    EXPECT_EQ(view.currentIndex(), valueOf("text"));
    type("new");
    leave();
    EXPECT_THAT(takeEdits(), ElementsAre("double=2.3456", "text=new"));

    ASSERT_NE(open<QComboBox>("list"), nullptr);
    press(Qt::Key_Up);
    press(Qt::Key_Return);
    settle();
    open("plain"); // Qt's own editor for its value
    type("8");
    press(Qt::Key_Enter);
    settle();
    EXPECT_THAT(takeEdits(), ElementsAre("list=look around", "plain=8"));

    for (const char* name : {"int", "double", "text", "plain"}) {
        open(name);
        type("3");
        press(Qt::Key_Escape);
        settle();
        EXPECT_EQ(view.indexWidget(valueOf(name)), nullptr) << name;
        EXPECT_THAT(takeEdits(), ElementsAre()) << name;
    }
    open("list");
    press(Qt::Key_Up);
    press(Qt::Key_Escape);
    settle();
    EXPECT_EQ(valueOf("list").data(), "look around");
}

TEST_F(PropertyEditing, TogglesBooleansByMouseAndKeyWithoutAnEditor) {
    show({new QBoolProperty("on", true, true), new QBoolProperty("fixed", true, false)});
    click(valueOf("on"), 10);
    EXPECT_EQ(view.indexWidget(valueOf("on")), nullptr);
    click(valueOf("on"), 80); // beside the box, which makes the cell the current one
    press(Qt::Key_Space);
    EXPECT_THAT(takeEdits(), ElementsAre("on=false", "on=true"));
    click(valueOf("fixed"), 10);
    press(Qt::Key_Space);
    EXPECT_EQ(valueOf("fixed").data(), "Yes");
}

TEST_F(PropertyEditing, CommitsWhatAnEditorHoldsWhenItIsLeftWithoutTyping) {
    constexpr auto longest = std::numeric_limits<long long>::max();
    show({new QIntegerProperty("int", 5, 0, 9, true),
          new QIntegerProperty("int out of range", 50, 0, 9, true),
          new QLongProperty("long", 5000000000, -longest - 1, longest, true),
          new QULongProperty("ulong", 5000000000, 0, ~0ull, true),
          new QDoubleProperty("double", 0.25, -9, 9, 5, true),
          new QDoubleProperty("tiny", 1e-7, -9, 9, 5, true),
          new QDoubleProperty("from a float", 0.95f, -9, 9, 5, true),
          new QDoubleProperty("many digits", 12.3456789, -99, 99, 5, true),
          new QDoubleProperty("large", 12345678, -1e300, 1e300, 5, true), choice("list", "mosaic"),
          choice("list, no alias", "square"), new QStringProperty("text", "as it is", true)});
    for (int row = 0; row < model.rowCount(); ++row)
        visit(model.index(row, Name).data().toString().toUtf8());
    EXPECT_THAT(takeEdits(),
                ElementsAre("int out of range=9", "long=-1", "ulong=-1", "tiny=0", "from a float=0.95",
                            "many digits=12.3457", "list, no alias=linear"));
    // Enter makes the box read its text, which has 4 significant digits; a text that the box would not take
    // as typed leaves the number alone.
    for (const char* name : {"many digits", "large"}) {
        open(name);
        press(Qt::Key_Enter);
        settle();
    }
    EXPECT_THAT(takeEdits(), ElementsAre("many digits=12.35"));
}

TEST_F(PropertyEditing, TakesACommaForADecimalPoint) {
    show({new QDoubleProperty("double", 1, -9999, 9999, 5, true)});
    const auto typed = [this](const char* text, bool isPasted) {
        view.setCurrentIndex({});
        auto* const box = open<QDoubleSpinBox>("double");
        EXPECT_NE(box, nullptr);
        if (!box)
            return 0.0;
        box->selectAll();
        QApplication::clipboard()->setText(text);
        if (isPasted)
            QTest::keyClick(box, Qt::Key_V, Qt::ControlModifier);
        else
            QTest::keyClicks(box, text);
        press(Qt::Key_Enter);
        settle();
        return valueOf("double").data().toDouble();
    };
    EXPECT_EQ(typed("0,2", false), 0.2);
    EXPECT_EQ(typed("-1,5", true), -1.5);
    EXPECT_EQ(typed("2.25", false), 2.25);
    EXPECT_EQ(typed("1,234.5", true), 2.25) << "no number, rather than one that may not be meant";
}

TEST_F(PropertyEditing, OpensNoEditorOnReadOnlyRowsAndHeadings) {
    show({new QIntegerProperty("int", 5, 0, 9, false), new QEmptyProperty("heading")});
    EXPECT_EQ(open("int"), nullptr);
    EXPECT_EQ(open("heading"), nullptr);
    // One that is asked for all the same is disabled: the item's own, and Qt's.
    const QPropertyDelegate delegate;
    for (const char* name : {"int", "heading"}) {
        const std::unique_ptr<QWidget> editor(delegate.createEditor(nullptr, {}, valueOf(name)));
        EXPECT_FALSE(editor->isEnabled()) << name;
    }
}
