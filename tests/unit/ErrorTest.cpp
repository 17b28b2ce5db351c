#include <kyv_common_stable/Error.h>

#include <gtest/gtest.h>

using kyv::Error;
using kyv::ErrorCode;

TEST(ErrorTest, defaultAndCodeZeroAreSuccess)
{
    EXPECT_FALSE(Error().hasError());
    EXPECT_FALSE(Error(ErrorCode(0)).hasError());
    EXPECT_EQ(Error(ErrorCode(0)).code(), ErrorCode::NoError);
}

TEST(ErrorTest, codesHaveTheirFixedNumbers)
{
    EXPECT_EQ(int(ErrorCode::NoError), 0);
    EXPECT_EQ(int(ErrorCode::InvalidInput), 2);
    EXPECT_EQ(int(ErrorCode::InconsistentData), 8);
}

TEST(ErrorTest, holdsCodeAndMessage)
{
    const Error error(ErrorCode::InvalidInput, QStringLiteral("no such method"));
    EXPECT_TRUE(error.hasError());
    EXPECT_EQ(error.code(), ErrorCode::InvalidInput);
    EXPECT_EQ(error.message(), QStringLiteral("no such method"));
    EXPECT_TRUE(error.places().isEmpty());
    EXPECT_TRUE(error.warnings().isEmpty());
}

TEST(ErrorTest, recordsPlacesInOrder)
{
    Error error(ErrorCode::InconsistentData);
    Error &same =
        error.ecatch("void inner()", "src/Inner", 3).ecatch("void outer()", "src/Outer", 7);
    EXPECT_EQ(&same, &error);
    ASSERT_EQ(error.places().size(), 2);
    EXPECT_EQ(error.places()[0].function, QStringLiteral("void inner()"));
    EXPECT_EQ(error.places()[0].file, QStringLiteral("src/Inner"));
    EXPECT_EQ(error.places()[0].line, 3);
    EXPECT_EQ(error.places()[1].function, QStringLiteral("void outer()"));
    EXPECT_EQ(error.places()[1].file, QStringLiteral("src/Outer"));
    EXPECT_EQ(error.places()[1].line, 7);
}

TEST(ErrorTest, warningOperationsChain)
{
    Error error(ErrorCode::InvalidInput);
    error.addWarning(QStringLiteral("a")).addWarnings({QStringLiteral("b"), QStringLiteral("c")});
    EXPECT_EQ(error.warnings(),
              QList<QString>({QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}));
    EXPECT_TRUE(error.clearWarnings().warnings().isEmpty());
}

TEST(ErrorTest, copiesAndMovesWhole)
{
    Error error(ErrorCode::InvalidInput, QStringLiteral("text"));
    error.addWarning(QStringLiteral("careful")).ecatch("f", "file", 1);
    const Error copy = error;
    Error assigned;
    assigned = std::move(error);
    for (const Error *each : {&copy, static_cast<const Error *>(&assigned)}) {
        EXPECT_EQ(each->code(), ErrorCode::InvalidInput);
        EXPECT_EQ(each->message(), QStringLiteral("text"));
        EXPECT_EQ(each->warnings(), QList<QString>({QStringLiteral("careful")}));
        EXPECT_EQ(each->places().size(), 1);
    }
}
