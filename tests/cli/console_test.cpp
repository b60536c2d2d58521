#include <gtest/gtest.h>

#include "cli/console.h"

TEST(Console, SaysLongMessagesWhole) {
    std::string captured;
    NullSink sink;
    setConsoleSink(&sink);
    setConsoleCapture(&captured);
    std::string longText(10000, 'x');
    say("<%s>", longText.c_str());
    setConsoleCapture(nullptr);
    setConsoleSink(nullptr);
    EXPECT_EQ(captured, "<" + longText + ">");
}
