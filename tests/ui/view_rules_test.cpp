// The settings window's text and state rules, without a window.

#include "support/TestUtil.h"
#include "ui/ViewRules.h"

#include <gtest/gtest.h>

#include <limits>
#include <tuple>

using namespace Qt::StringLiterals;

namespace {

TEST(ViewRules, TimesReadAsMinutesOrHoursAndZeroForNonsense) {
    const double kNaN = std::numeric_limits<double>::quiet_NaN();
    const double kInfinity = std::numeric_limits<double>::infinity();
    for (const auto& [seconds, text] : {std::tuple{0.0, "0:00"},
                                        {59.9, "0:59"},
                                        {65.0, "1:05"},
                                        {3599.0, "59:59"},
                                        {3725.0, "1:02:05"},
                                        {-1.0, "0:00"},
                                        {kNaN, "0:00"},
                                        {kInfinity, "0:00"}})
        EXPECT_EQ(ViewRules::formatTime(seconds), QString::fromLatin1(text)) << seconds;
}

TEST(ViewRules, ProgressStaysWithinZeroAndOne) {
    const double kNaN = std::numeric_limits<double>::quiet_NaN();
    for (const auto& [value, total, progress] : {std::tuple{30.0, 60.0, 0.5},
                                                 {90.0, 60.0, 1.0},
                                                 {-5.0, 60.0, 0.0},
                                                 {kNaN, 60.0, 0.0},
                                                 {10.0, 0.0, 0.0},
                                                 {10.0, -3.0, 0.0},
                                                 {10.0, kNaN, 0.0}})
        EXPECT_DOUBLE_EQ(ViewRules::progress(value, total), progress) << value << "/" << total;
}

TEST(ViewRules, CountsTakeTheirPlurals) {
    EXPECT_EQ(ViewRules::folderCountText(0), u"0 folders configured"_s);
    EXPECT_EQ(ViewRules::folderCountText(1), u"1 folder configured"_s);
    EXPECT_EQ(ViewRules::folderCountText(3), u"3 folders configured"_s);
    EXPECT_EQ(ViewRules::playingText(1), u"Playing on 1 screen"_s);
    EXPECT_EQ(ViewRules::playingText(0), u"Playing on 0 screens"_s);
    EXPECT_EQ(ViewRules::rateText(0.75), u"0.75x"_s);
    EXPECT_EQ(ViewRules::durationText(1.5), u"1.5 s"_s);
}

// The position is left out of an empty queue; the playlist's name is not.
TEST(ViewRules, PositionLinesShowWhatIsKnown) {
    EXPECT_EQ(ViewRules::positionText(1, 5, {}, false), u"Video 2 of 5"_s);
    EXPECT_EQ(ViewRules::positionText(2, 3, u"Evening"_s, true), u"3/3 \u2022 Evening"_s);
    EXPECT_EQ(ViewRules::positionText(-1, 0, u"Evening"_s, false), u"Evening"_s);
    EXPECT_EQ(ViewRules::positionText(-1, 0, {}, true), QString());
}

TEST(ViewRules, NowPlayingIsEmptyUntilSomeScreenHasVideos) {
    using Content = ViewRules::Content;
    EXPECT_EQ(ViewRules::nowPlayingContent({}), Content::Empty);
    EXPECT_EQ(ViewRules::nowPlayingContent({0, 0}), Content::Empty);
    EXPECT_EQ(ViewRules::nowPlayingContent({3}), Content::Single);
    EXPECT_EQ(ViewRules::nowPlayingContent({0, 2}), Content::Multiple);
}

} // namespace
