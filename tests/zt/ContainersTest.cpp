#include "fixtures/Testing.h"
#include "zt/DataBuff.h"
#include "zt/String.h"

TEST(String, IsEmptyWhenNewAndKeepsACopy) {
    zt::String text;
    EXPECT_STREQ(text.get(), "");
    char source[] = "abc";
    text.set(source);
    source[0] = 'x';
    EXPECT_STREQ(text.get(), "abc");
}

TEST(Lists, InsertAheadOfAnIndexAndRefuseToEraseBehindTheEnd) {
    int a = 0;
    int b = 0;
    zt::PtrList<int*> pointers;
    pointers.add(&a);
    pointers.insert(0, &b);
    EXPECT_EQ(pointers.erase(2), -1);
    EXPECT_THAT(pointers.vect(), ElementsAre(&b, &a));
    EXPECT_EQ(pointers.erase(0), 0);
    EXPECT_THAT(pointers.vect(), ElementsAre(&a));

    zt::StrList texts;
    texts.clear();
    texts.add("one");
    texts.insert(1, "two");
    texts.insert(0, "zero");
    EXPECT_EQ(texts.erase(3), -1);
    EXPECT_THAT(texts.vect(), ElementsAre("zero", "one", "two"));
    EXPECT_EQ(texts.erase(1), 0);
    EXPECT_THAT(texts.vect(), ElementsAre("zero", "two"));
}

TEST(DataBuff, LosesItsContentsOnlyWhenTheSizeChanges) {
    zt::DataBuff<unsigned char> buffer;
    const unsigned char values[] = {1, 2, 3};
    buffer.assignData(values, 3);
    const unsigned char* before = buffer.data();
    buffer.resizeByte(3);
    EXPECT_EQ(buffer.data(), before);
    EXPECT_EQ(buffer.data()[2], 3);
    buffer.resize(5);
    EXPECT_EQ(buffer.byteSize(), 5u);
}

// The address that stays behind must be neither freed again nor taken for an array.
TEST(DataBuff, KeepsItsAddressOnResizeToNothingAndDropsItOnClear) {
    zt::DataBuff<unsigned char> buffer;
    buffer.resize(16);
    const auto before = reinterpret_cast<std::uintptr_t>(buffer.data());
    buffer.resize(0);
    EXPECT_EQ(buffer.size(), 0u);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer.data()), before);
    buffer.resize(4);
    buffer.data()[3] = 7;
    buffer.resize(0);
    buffer.clear();
    EXPECT_EQ(buffer.data(), nullptr);
}

TEST(RefDataBuff, CountsWholeElementsOnly) {
    alignas(8) unsigned char bytes[8] = {};
    zt::RefDataBuff<short> shorts;
    EXPECT_EQ(shorts.data(), nullptr);
    shorts.setByte(bytes, 7);
    EXPECT_EQ(shorts.size(), 3u);
    EXPECT_EQ(shorts.byteSize(), 6u);
    shorts.data()[1] = 0x0102;
    EXPECT_EQ(bytes[2], 2);

    zt::RefDataBuff<double> doubles;
    doubles.setByte(bytes, 8);
    EXPECT_EQ(doubles.size(), 1u);
    EXPECT_EQ(doubles.dataByte(), bytes);
}
