#include "Logging.h"

#include <QLoggingCategory>

#include <gtest/gtest.h>

using kyv::compressor::loggingCategory;
using kyv::compressor::msCompressorCategory;

TEST(LoggingTest, ownCategoryIsEnabledFromCritical)
{
    const QLoggingCategory &category = msCompressorCategory();
    EXPECT_STREQ(category.categoryName(), "kyv.ms_compressor");
    EXPECT_FALSE(category.isDebugEnabled());
    EXPECT_FALSE(category.isInfoEnabled());
    EXPECT_FALSE(category.isWarningEnabled());
    EXPECT_TRUE(category.isCriticalEnabled());
    EXPECT_EQ(&category, &msCompressorCategory());
}

TEST(LoggingTest, genericCategoryIsThereFromTheFirstLookup)
{
    QLoggingCategory &generic = loggingCategory("kyv.generic", QtDebugMsg, true);
    EXPECT_STREQ(generic.categoryName(), "kyv.generic");
    EXPECT_EQ(&generic, &loggingCategory("kyv.generic", QtCriticalMsg, false));
}

TEST(LoggingTest, unknownNameFallsBackToGeneric)
{
    EXPECT_EQ(&loggingCategory("kyv.test.unknown", QtWarningMsg, false),
              &loggingCategory("kyv.generic", QtDebugMsg, false));
}

TEST(LoggingTest, unknownNameIsMadeOnRequest)
{
    char name[] = "kyv.test.made";
    QLoggingCategory &made = loggingCategory(name, QtWarningMsg, true);
    name[0] = 'X'; // the registry keeps its own copy of the name
    EXPECT_STREQ(made.categoryName(), "kyv.test.made");
    EXPECT_TRUE(made.isWarningEnabled());
    EXPECT_FALSE(made.isInfoEnabled());
    EXPECT_EQ(&made, &loggingCategory("kyv.test.made", QtDebugMsg, false));
}
