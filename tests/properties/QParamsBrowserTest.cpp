#include "properties/QParamsBrowser.h"

#include "fixtures/Testing.h"
#include "host/Param.h"
#include "properties/PropertyTypes.h"
#include "properties/QPropertyModel.h"

#include <QApplication>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLineEdit>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTest>
#include <QVBoxLayout>

using namespace PropertyColumn;
using ombrel::ParamMgr;

namespace {

class ParamsBrowser : public testing::Test {
protected:
    // A parameter whose changes are noted as "NAME=VALUE".
    ombrel::Param& add(const char* name, ombrel::ParamValue value, int flags = zt::PARAM_CREATE_EDITABLE) {
        return params.create(
            {name, std::string("describes ") + name, &ParamsBrowser::noteChange, this, flags},
            std::move(value));
    }

    // One parameter of each type, how its row is described, and what becomes of an edit.
    struct Row {
        const char* name;
        ombrel::ParamValue value;
        const char* described;
        QVariant edited;
        const char* written;
    };
    const std::vector<Row> rows{
        {"i8", zt::i8{-128}, "int -128 -127..127", 200, "-56"}, // cut to the low bits
        {"u8", zt::u8{200}, "int 200 0..255", 300, "44"},
        {"i16", zt::i16{-5}, "int -5 -32767..32767", 40000, "-25536"},
        {"u16", zt::u16{65535}, "int 65535 0..65535", -1, "65535"},
        {"i32", zt::i32{-7}, "int -7 -2147483648..2147483647", "-8", "-8"},
        {"u32", zt::u32{3000000000}, "int -1294967296 0..2147483647", 4000000000u, "4000000000"},
        {"i64", zt::i64{-5000000000}, "long -5000000000 -1..-1", -6000000000ll, "-6000000000"},
        {"u64", ~zt::u64{0}, "ulong 18446744073709551615 -1..-1", ~1ull, "18446744073709551614"},
        {"float", 0.5f, "double 0.5 -1e+100..1e+100", 0.1, "0.1"},
        {"double", 1e-9, "double 1e-09 -1e+300..1e+300", 0.1, "0.1"},
        {"bool", true, "bool true", false, "false"},
        {"string", std::string("\xC3\xBC"), "string \xC3\xBC", "\u00E4", "\xC3\xA4"}};

    QPropertyModel& model() { return *browser.findChild<QPropertyModel*>(); }
    QProperty* row(const char* name) { return model().getProperty(name); }
    QModelIndex value(const char* name) { return model().getIndexFromProperty(row(name), Value); }
    // As the user does by an editor.
    void edit(const char* name, const QVariant& edited) { model().setData(name, edited, Qt::EditRole); }

    std::vector<std::string> takeChanges() { return std::exchange(changes, {}); }

    std::vector<std::string> changes;
    std::function<void()> whenChanged = [] {};
    ParamMgr params;
    QParamsBrowser browser;

private:
    static int noteChange(zt::IParam* param, bool, long userData) {
        auto* const test = reinterpret_cast<ParamsBrowser*>(userData);
        test->changes.push_back(std::string(param->name()) + "=" + param->getString());
        test->whenChanged();
        return 0;
    }
};

// "KIND VALUE" and the range of the editor, where there is one.
std::string described(QProperty& row) {
    std::string text = dynamic_cast<QDoubleProperty*>(&row)    ? "double "
                       : dynamic_cast<QIntegerProperty*>(&row) ? "int "
                       : dynamic_cast<QLongProperty*>(&row)    ? "long "
                       : dynamic_cast<QULongProperty*>(&row)   ? "ulong "
                       : dynamic_cast<QBoolProperty*>(&row)    ? "bool "
                       : dynamic_cast<QListProperty*>(&row)    ? "list "
                       : dynamic_cast<QStringProperty*>(&row)  ? "string "
                                                               : "? ";
    text += row.getValue().toString().toStdString();
    const std::unique_ptr<QWidget> editor(row.createEditor(nullptr, {}, nullptr));
    QString range;
    if (const auto* const box = qobject_cast<QSpinBox*>(editor.get()))
        range = QString(" %1..%2").arg(box->minimum()).arg(box->maximum());
    if (const auto* const box = qobject_cast<QDoubleSpinBox*>(editor.get()))
        range = QString(" %1..%2").arg(box->minimum()).arg(box->maximum());
    return text + range.toStdString();
}

} // namespace

TEST_F(ParamsBrowser, ShowsEachTypeByAKindWithItsRangeAndWritesEditsWithItsSetter) {
    for (const Row& each : rows)
        add(each.name, each.value);
    add("choice", zt::i32{1}).setAliases({"a", "\xC3\xA4"});
    browser.setParams(&params);
    EXPECT_EQ(described(*row("choice")), "list \xC3\xA4");
    EXPECT_EQ(browser.model(), &model());
    EXPECT_EQ(model().columnCount(), 3);
    EXPECT_EQ(model().index(3, Name).data(), "u16");
    EXPECT_EQ(model().index(3, Description).data(), "describes u16");
    for (const auto& [name, value, shown, edited, written] : rows) {
        EXPECT_EQ(described(*row(name)), shown);
        edit(name, edited);
        EXPECT_THAT(takeChanges(), ElementsAre(std::string(name) + "=" + written));
    }
    EXPECT_EQ(params.param("float")->getFloat(), 0.1f);
}

TEST_F(ParamsBrowser, WritesAChoiceByItsAlias) {
    add("index", zt::i32{0}).setAliases({"linear", "mosaic"});
    add("name", std::string("linear")).setAliases({"linear", "mosaic"});
    browser.setParams(&params);
    browser.show();
    browser.setFocus();
    for (const char* name : {"index", "name"}) {
        browser.setCurrentIndex(value(name));
        auto* const box = qobject_cast<QComboBox*>(browser.indexWidget(value(name)));
        ASSERT_NE(box, nullptr);
        QTest::keyClick(box, Qt::Key_Down);
        QTest::keyClick(box, Qt::Key_Return);
        QApplication::processEvents();
    }
    EXPECT_THAT(takeChanges(), ElementsAre("index=1", "name=mosaic"));
}

TEST_F(ParamsBrowser, LeavesReadOnlyAndUnknownParametersAlone) {
    add("Version", std::string("1.0"), zt::PARAM_CREATE_READ_ONLY);
    add("Fixed", true, zt::PARAM_CREATE_READ_ONLY);
    add("Mode", zt::i32{0}, zt::PARAM_CREATE_READ_ONLY).setAliases({"a", "b"});
    browser.setParams(&params);
    EXPECT_EQ(model().flags(value("Version")), Qt::ItemIsSelectable | Qt::ItemIsEnabled);
    EXPECT_EQ(model().flags(value("Fixed")), Qt::NoItemFlags);
    edit("Version", "2.0");
    edit("Mode", "b");
    QProperty gone("gone", true);
    browser.userChangedData(&gone);
    EXPECT_THAT(takeChanges(), ElementsAre());
    EXPECT_EQ(value("Version").data(), "2.0"); // the row keeps what was written into it
}

TEST_F(ParamsBrowser, RefreshesRowsWithoutWritingBack) {
    add("i32", zt::i32{1}).setInt(2);
    add("u32", zt::u32{1});
    add("float", 1.f);
    add("bool", false);
    add("string", std::string("a"));
    add("choice", zt::i32{0}).setAliases({"a", "b"});
    add("i64", zt::i64{1});
    add("u64", zt::u64{1});
    browser.setParams(&params);
    QSignalSpy announced(&model(), &QPropertyModel::dataChanged);
    takeChanges();
    browser.refreshParams();
    EXPECT_EQ(announced.count(), 0);

    params.param("i32")->setInt(7);
    params.param("u32")->setUInt(3000000000);
    params.param("float")->setFloat(0.5f);
    params.param("bool")->setBool(true);
    params.param("string")->setString("\xC3\xBC");
    params.param("choice")->setAliasValue("b");
    params.param("i64")->setI64(7);
    params.param("u64")->setU64(7);
    takeChanges();
    browser.refreshParams();
    EXPECT_THAT(takeChanges(), ElementsAre());
    EXPECT_EQ(announced.count(), 5); // a choice shows at the next repaint; 64 bits stay
    QStringList shown;
    for (int i = 0; i < model().rowCount(); ++i)
        shown << model().index(i, Value).data().toString();
    EXPECT_EQ(shown.join(' ').toStdString(), "7 3000000000 0.5 Yes \xC3\xBC b 1 1");
    EXPECT_EQ(row("float")->getValue().typeId(), QMetaType::Float);
    browser.refreshParams();
    EXPECT_EQ(announced.count(), 5);

    // Parameters that have no row yet.
    add("late choice", zt::i32{0}).setAliases({"a", "b"});
    add("late", 1.);
    browser.refreshParams();
    EXPECT_EQ(model().rowCount(), 8);
    browser.loadParams();
    EXPECT_EQ(model().rowCount(), 10);
    EXPECT_EQ(value("i64").data(), 7);
}

TEST_F(ParamsBrowser, RefreshesOnlyRowsOfTheKindOfTheType) {
    add("a", zt::i32{1});
    browser.setParams(&params);
    ParamMgr others; // the same names, of other types
    for (const ombrel::ParamValue& of :
         {ombrel::ParamValue(2.5), ombrel::ParamValue(true), ombrel::ParamValue(zt::u64{3})}) {
        browser.refreshParam(&others.create({"a", "", nullptr, nullptr, 0}, of));
        EXPECT_EQ(value("a").data(), 1);
    }
    auto& choice = others.create({"a", "", nullptr, nullptr, 0}, zt::i32{0});
    choice.setAliases({"x"});
    browser.refreshParam(&choice);
    EXPECT_EQ(value("a").data(), 1);
    browser.refreshParam(&others.create({"a", "", nullptr, nullptr, 0}, std::string("text"))); // fits any row
    EXPECT_EQ(value("a").data(), "text");
}

TEST_F(ParamsBrowser, KeepsItsManagerUntilAnotherComes) {
    add("a", zt::i32{1});
    browser.setParams(&params);
    browser.setParams(nullptr);
    edit("a", 2);
    EXPECT_THAT(takeChanges(), ElementsAre("a=2"));

    browser.show();
    browser.setCurrentIndex(value("a"));
    const QPointer<QWidget> editor = browser.indexWidget(value("a"));
    EXPECT_NE(editor, nullptr);
    browser.setParams(&params);
    QApplication::processEvents();
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(editor, nullptr);
    EXPECT_TRUE(browser.visualRect(value("a")).isValid());
}

// A filter may refresh or reload its rows in the callback of the parameter that is being written.
TEST_F(ParamsBrowser, LetsACallbackMakeAllRowsAnew) {
    add("a", zt::i32{1});
    browser.setParams(&params);
    browser.show();
    whenChanged = [this] {
        browser.refreshParams();
        browser.loadParams();
    };
    browser.setCurrentIndex(value("a"));
    QWidget* const editor = browser.indexWidget(value("a"));
    ASSERT_NE(editor, nullptr);
    QTest::keyClicks(editor, "5");
    // Qt would print that the editor is gone when it is to be closed.
    const auto printing =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString& text) {
            EXPECT_TRUE(text.contains("closeEditor called with an editor that does not belong"))
                << qPrintable(text);
        });
    QTest::keyClick(editor, Qt::Key_Tab);
    QApplication::processEvents();
    qInstallMessageHandler(printing);
    EXPECT_EQ(takeChanges().size(), 1u);
    EXPECT_EQ(value("a").data(), params.param("a")->getInt());
}

TEST_F(ParamsBrowser, KeysReachTheValues) {
    add("a", zt::i32{1});
    add("b", zt::i32{2});
    browser.setParams(&params);
    QWidget window;
    QVBoxLayout layout(&window);
    QLineEdit before;
    layout.addWidget(&before);
    layout.addWidget(&browser);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window, 60'000));
    before.setFocus();
    const auto press = [](Qt::Key key) {
        QTest::keyClick(QApplication::focusWidget(), key);
        QApplication::processEvents();
    };
    const auto type = [&](const char* digits) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_A, Qt::ControlModifier);
        QTest::keyClicks(QApplication::focusWidget(), digits);
    };
    press(Qt::Key_Tab);
    type("7");
    press(Qt::Key_Tab);
    type("8");
    press(Qt::Key_Tab);
    EXPECT_THAT(takeChanges(), ElementsAre("a=7", "b=8"));
    browser.setParent(nullptr);
}
