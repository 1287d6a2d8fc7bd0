#include "host/Param.h"

#include "fixtures/Messages.h"
#include "fixtures/Testing.h"
#include "zt/String.h"

using namespace ombrel;

namespace {

Param paramOf(ParamValue value) {
    return Param({"P", "", nullptr, nullptr, 0}, std::move(value));
}

std::string refusal(zt::IParam& param, const std::string& text) {
    return errorOf([&] { setParamFromText(param, text); });
}

int countCalls(zt::IParam*, bool flag, long userData) {
    if (!flag)
        ++*reinterpret_cast<int*>(userData);
    return 0;
}

} // namespace

TEST(Param, ConvertsBetweenAllTypesByRule) {
    Param number = paramOf(-1.5);
    EXPECT_EQ(number.type(), zt::DT_DOUBLE);
    EXPECT_EQ(number.getU8(), 0);
    EXPECT_EQ(number.getInt(), -2);
    EXPECT_EQ(number.getString(), "-1.5");
    number.setDouble(NAN);
    EXPECT_FALSE(number.getBool());
    EXPECT_EQ(number.getInt(), 0);
    number.setString("1e400");
    EXPECT_EQ(number.getDouble(), 0);
    number.setBool(true);
    EXPECT_EQ(number.getDouble(), 1);

    Param wide = paramOf(zt::u64{0});
    wide.setString("18446744073709551615");
    EXPECT_EQ(wide.getU64(), std::numeric_limits<zt::u64>::max());
    EXPECT_EQ(wide.getI64(), std::numeric_limits<zt::i64>::max());
    wide.setI8(-3);
    EXPECT_EQ(wide.getU64(), 0u);
    wide.setString("true");
    EXPECT_EQ(wide.getU64(), 1u);

    Param text = paramOf(std::string("0.1"));
    EXPECT_EQ(text.getFloat(), 0.1f);
    EXPECT_TRUE(text.getBool());
    text.setFloat(0.1f);
    EXPECT_EQ(text.getString(), "0.1");
    text.setString(nullptr);
    EXPECT_EQ(text.getString(), "");
}

TEST(Param, EverySetterCallsBackAlsoWhenNothingChanges) {
    int calls = 0;
    ParamMgr* const manager = new ParamMgr;
    zt::IParam* const shown = manager->createString("Version", "", "1.0", countCalls, &calls, 1);
    zt::IParam* const edited = manager->createInt("Size", "a size", 4, countCalls, &calls, 2);
    edited->setInt(4);
    EXPECT_EQ(calls, 1);
    shown->setString("2.0"); // by its filter
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(shown->getString(), "2.0");
    EXPECT_EQ(shown->flags(), zt::PARAM_READ_ONLY);
    EXPECT_EQ(edited->flags(), 0u);
    EXPECT_EQ(manager->param("Size"), edited);
    EXPECT_EQ(manager->param("size"), nullptr);
    zt::PtrList<zt::IParam*> list;
    manager->params(&list);
    EXPECT_THAT(list.vect(), ElementsAre(shown, edited));
    manager->destroy();
}

TEST(Param, AliasesNameTheValues) {
    Param index = paramOf(zt::i32{1});
    index.setAliases({"linear", "mosaic"});
    EXPECT_EQ(index.flags(), zt::PARAM_HAS_ALIASES);
    EXPECT_EQ(index.getAliasValue(), "mosaic");
    index.setAliasValue("linear");
    EXPECT_EQ(index.getInt(), 0);
    index.setAliasValue("square");
    EXPECT_EQ(index.getInt(), 0);
    index.setInt(-1);
    EXPECT_EQ(index.getAliasValue(), "");

    Param name = paramOf(std::string("other"));
    name.setAliases({"linear", "mosaic"});
    EXPECT_EQ(name.getAliasValue(), "");
    name.setAliasValue("mosaic");
    EXPECT_EQ(name.getString(), "mosaic");
    EXPECT_THAT(name.getAliasValues(), ElementsAre("linear", "mosaic"));
}

TEST(Param, TextThatDoesNotReadAsTheTypeIsRefused) {
    Param byte = paramOf(zt::i8{5});
    for (const char* text : {"", "x", "1x", "1.5", "128", "-129", "+ 1"})
        EXPECT_THAT(refusal(byte, text), HasSubstr("is not an integer from -128 to 127")) << text;
    EXPECT_EQ(byte.getI8(), 5);
    EXPECT_EQ(refusal(byte, " -128 "), "");
    EXPECT_EQ(byte.getI8(), -128);

    Param flag = paramOf(false);
    EXPECT_THAT(refusal(flag, "yes"), HasSubstr("is neither true nor false"));
    EXPECT_EQ(refusal(flag, "true"), "");
    EXPECT_TRUE(flag.getBool());

    Param real = paramOf(0.0);
    EXPECT_THAT(refusal(real, "1,5"), HasSubstr("is not a number"));
    EXPECT_EQ(refusal(real, "-inf"), "");
    EXPECT_EQ(real.getDouble(), -INFINITY);

    Param choice = paramOf(zt::i32{0});
    choice.setAliases({"linear", "mosaic"});
    EXPECT_THAT(refusal(choice, "1"), HasSubstr("is not one of: linear, mosaic"));
    EXPECT_EQ(refusal(choice, "mosaic"), "");
    EXPECT_EQ(choice.getInt(), 1);

    Param fixed({"Version", "", nullptr, nullptr, zt::PARAM_CREATE_READ_ONLY}, std::string("1.0"));
    EXPECT_THAT(refusal(fixed, "2.0"), HasSubstr("read-only"));
    EXPECT_EQ(fixed.getString(), "1.0");
}
