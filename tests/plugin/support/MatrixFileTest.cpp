#include "support/MatrixFile.h"

#include "fixtures/CommaLocale.h"
#include "support/BinaryFile.h"

namespace {

class MatrixFileTest : public testing::Test {
protected:
    template <typename T>
    std::string written(_DataType type, std::vector<T> values, unsigned long width) {
        EXPECT_EQ(writeAsciiMatrix(path.c_str(), type, values.data(), values.size(), width, false), FILE_OK);
        return fileText(path);
    }

    template <typename T>
    std::string writtenHex(_DataType type, std::vector<T> values) {
        EXPECT_EQ(writeAsciiMatrixHex(path.c_str(), type, values.data(), values.size(), 2, false), FILE_OK);
        return fileText(path);
    }

    // What is read of `text` into elements that were `before`.
    template <typename T>
    std::vector<T> read(const std::string& text, _DataType type, std::vector<T> before, int expectedResult) {
        writeFileText(path, text);
        EXPECT_EQ(readAsciiMatrix(path.c_str(), type, before.size(), before.data()), expectedResult);
        return before;
    }

    TemporaryFolder folder;
    std::string path = folder / "matrix.txt";
};

using Doubles = std::vector<double>;
using Words = std::vector<unsigned short>;
using Bytes = std::vector<unsigned char>;

TEST_F(MatrixFileTest, PrintsEachTypeInItsFormatAndRowsOnLines) {
    EXPECT_EQ(written<int>(DT_I32, {1, -2, 3, 4, 5, 6}, 3), "1 -2 3\n4 5 6\n");
    EXPECT_EQ(written<int>(DT_I32, {1, 2, 3}, 2), "1 2\n3 ");
    EXPECT_EQ(written<int>(DT_I32, {}, 1), "");
    EXPECT_EQ(written<unsigned char>(DT_U8, {0, 255}, 2), "0 255\n");
    EXPECT_EQ(written<short>(DT_I16, {-32768, 7}, 2), "-32768 7\n");
    EXPECT_EQ(written<unsigned short>(DT_U16, {65535, 7}, 2), "65535 7\n");
    EXPECT_EQ(written<unsigned int>(DT_U32, {4294967295u, 7}, 2), "4294967295 7\n");
    EXPECT_EQ(written<float>(DT_FLOAT, {1.5f, -0.1f}, 2), "1.500000 -0.100000\n");
    EXPECT_EQ(written<double>(DT_DOUBLE, {1.5, NAN}, 2), "1.500000 nan\n");
}

TEST_F(MatrixFileTest, PrintsHexadecimalInTheDigitsOfTheTypeButNegativeShortsAsInt) {
    EXPECT_EQ(writtenHex<unsigned char>(DT_U8, {10, 255}), "0A FF\n");
    EXPECT_EQ(writtenHex<short>(DT_I16, {-1, 255}), "FFFFFFFF 00FF\n");
    EXPECT_EQ(writtenHex<unsigned short>(DT_U16, {65535, 1}), "FFFF 0001\n");
    EXPECT_EQ(writtenHex<int>(DT_I32, {-1, 255}), "FFFFFFFF 000000FF\n");
    EXPECT_EQ(writtenHex<unsigned int>(DT_U32, {48879, 1}), "0000BEEF 00000001\n");
}

TEST_F(MatrixFileTest, AppendsWithoutASeparator) {
    int values[] = {1, 2};
    ASSERT_EQ(writeAsciiMatrix(path.c_str(), DT_I32, values, 2, 2, true), FILE_OK);
    ASSERT_EQ(writeAsciiMatrixHex(path.c_str(), DT_I32, values, 1, 2, true), FILE_OK);
    ASSERT_EQ(writeAsciiMatrix(path.c_str(), DT_I32, values, 1, 1, true), FILE_OK);
    EXPECT_EQ(fileText(path), "1 2\n00000001 1\n");
}

TEST_F(MatrixFileTest, RefusesTypesAfterTheFileWasOpened) {
    double value = 0;
    writeFileText(path, "1");
    for (const _DataType type : {DT_I8, DT_I64, DT_U64, DT_FLOAT, DT_BOOL, DT_STRING})
        EXPECT_EQ(readAsciiMatrix(path.c_str(), type, 1, &value), FILE_TYPE_REFUSED) << type;
    for (const _DataType type : {DT_I64, DT_FLOAT, DT_DOUBLE})
        EXPECT_EQ(writeAsciiMatrixHex(path.c_str(), type, &value, 1, 1, true), FILE_TYPE_REFUSED) << type;
    EXPECT_EQ(fileText(path), "1");
    EXPECT_EQ(writeAsciiMatrix(path.c_str(), DT_U64, &value, 1, 1, false), FILE_TYPE_REFUSED);
    EXPECT_EQ(fileText(path), "");
}

TEST_F(MatrixFileTest, ReadsAStreamOfNumbersInAnyLayout) {
    EXPECT_EQ(read<double>(" 1.5\n\n-2e3\t inf 0x10", DT_DOUBLE, Doubles(4), FILE_OK),
              (Doubles{1.5, -2000, INFINITY, 16}));
    EXPECT_EQ(read<short>("-1 2 3", DT_I16, {0, 0}, FILE_OK), (std::vector<short>{-1, 2}));
    EXPECT_EQ(read<int>("-5", DT_I32, {0}, FILE_OK), (std::vector<int>{-5}));
    EXPECT_EQ(read<unsigned>("4294967295", DT_U32, {0}, FILE_OK), (std::vector<unsigned>{4294967295u}));
    EXPECT_EQ(read<double>("nothing", DT_DOUBLE, {}, FILE_OK), Doubles{});
}

TEST_F(MatrixFileTest, NarrowElementsKeepTheLowBits) {
    EXPECT_EQ(read<unsigned char>("300 1", DT_U8, Bytes(2), FILE_OK), (Bytes{44, 1}));
    EXPECT_EQ(read<unsigned short>("65537 65535", DT_U16, Words(2), FILE_OK), (Words{1, 65535}));
    Words buffer{9, 9, 9}; // of which the last lies behind the matrix
    writeFileText(path, "70000 70000 70000");
    ASSERT_EQ(readAsciiMatrix(path.c_str(), DT_U16, 2, buffer.data()), FILE_OK);
    EXPECT_EQ(buffer, (Words{4464, 4464, 9}));
}

TEST_F(MatrixFileTest, KeepsWhatWasReadOfAFileThatIsTooShort) {
    EXPECT_EQ(read<double>("1 2 word 3", DT_DOUBLE, {7, 7, 7}, FILE_TOO_SHORT), (Doubles{1, 2, 7}));
    EXPECT_EQ(read<unsigned short>("70000", DT_U16, {7, 7, 7}, FILE_TOO_SHORT), (Words{4464, 1, 7}));
    EXPECT_EQ(read<double>("", DT_DOUBLE, {7}, FILE_TOO_SHORT), Doubles{7});
    writeFileText(path, "1 2");
    for (const unsigned long size : {3ul, 1ul << 61, (1ul << 61) + 1, ~0ul}) { // whose bytes are 24, 0, 8, -8
        Doubles buffer{7, 7, 7};
        EXPECT_EQ(readAsciiMatrix(path.c_str(), DT_DOUBLE, size, buffer.data()), FILE_TOO_SHORT);
        EXPECT_EQ(buffer, (Doubles{1, 2, 7}));
    }
}

TEST_F(MatrixFileTest, ReadsAndWritesAPointUnderEveryLocale) {
    const CommaLocale comma;
    EXPECT_EQ(written<double>(DT_DOUBLE, {1234.5}, 1), "1234.500000\n");
    EXPECT_EQ(read<double>("1234.5 6", DT_DOUBLE, Doubles(2), FILE_OK), (Doubles{1234.5, 6}));
    if (!comma.inC)
        GTEST_SKIP() << "localedef cannot make de_DE here";
}

TEST_F(MatrixFileTest, SaysWhatCannotBeOpenedReadOrWritten) {
    double value = 1;
    EXPECT_EQ(readAsciiMatrix(nullptr, DT_DOUBLE, 1, &value), FILE_NOT_OPENED);
    EXPECT_EQ(readAsciiMatrix((folder / "none").c_str(), DT_DOUBLE, 1, &value), FILE_NOT_OPENED);
    EXPECT_EQ(readAsciiMatrix(folder.path.c_str(), DT_DOUBLE, 1, &value), FILE_TOO_SHORT);
    EXPECT_EQ(writeAsciiMatrix(nullptr, DT_DOUBLE, &value, 1, 1, false), FILE_NOT_OPENED);
    EXPECT_EQ(writeAsciiMatrixHex(folder.path.c_str(), DT_U8, &value, 1, 1, true), FILE_NOT_OPENED);
    EXPECT_EQ(writeAsciiMatrix("/dev/full", DT_DOUBLE, &value, 1, 1, false), FILE_NOT_WRITTEN);
    std::vector<int> many(100000);
    EXPECT_EQ(writeAsciiMatrix("/dev/full", DT_I32, many.data(), many.size(), 1, false), FILE_NOT_WRITTEN);
}

struct Dimensions {
    std::string text;
    unsigned long width, height;
};

TEST_F(MatrixFileTest, TakesDimensionsFromTheLinesThatAreNotEmpty) {
    std::string longLine;
    for (int i = 0; i < 20000; ++i)
        longLine += "1.25 ";
    const Dimensions cases[] = {{"\n1 2 3\n\n4 5 6\n", 3, 2},
                                {"1 2 x 4\n1", 2, 2},
                                {"  \n1 2\n", 0, 2},
                                {"1 2\r\n3 4\r\n\r\n", 2, 3},
                                {"1 2\t3 0x\n", 3, 1},
                                {longLine, 20000, 1},
                                {std::string("\0 1\n", 4), 0, 1},
                                {"", 0, 0}};
    for (const auto& [text, expectedWidth, expectedHeight] : cases) {
        writeFileText(path, text);
        unsigned long width = 99, height = 99;
        EXPECT_EQ(getAsciiMatrixDimensions(path.c_str(), &width, &height), 0);
        EXPECT_EQ(width, expectedWidth) << text.substr(0, 40);
        EXPECT_EQ(height, expectedHeight) << text.substr(0, 40);
    }
    unsigned long width = 99, height = 99;
    EXPECT_EQ(getAsciiMatrixDimensions("/dev/zero", &width, &height), 0); // as any that cannot be read
    EXPECT_EQ(width + height, 0u);
}

} // namespace
