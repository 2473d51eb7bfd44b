// Which screens the windows hide, on the harness's two side-by-side monitors' rectangles, from
// windows a stand-in source lists (the real source is exercised under openbox by the
// application controller's test).

#include "support/TestUtil.h"
#include "system/CoverageMonitor.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

using Window = CoverageSource::Window;
using Snapshot = CoverageSource::Snapshot;

const QRect kLeft(0, 0, 1920, 1080);
const QRect kRight(1920, 0, 1920, 1080);

class FakeCoverageSource : public CoverageSource {
public:
    std::optional<Snapshot> snapshot() override { return m_snapshot; }
    QString unavailableReason() const override { return u"no EWMH window manager"_s; }
    void start() override {}
    void stop() override {}
    void set(std::optional<Snapshot> snapshot) {
        m_snapshot = std::move(snapshot);
        Q_EMIT changed();
    }

private:
    std::optional<Snapshot> m_snapshot = Snapshot{};
};

bool covers(const QRect& area, const QList<Window>& windows, quint32 workspace = 0) {
    return CoverageMonitor::isCovered(area, Snapshot{workspace, windows});
}

TEST(CoverageMonitorTest, WindowsCoverAScreenWhenTheyHideItOnTheCurrentWorkspace) {
    // 95 % of the width is 1824 pixels.
    EXPECT_TRUE(covers(kLeft, {{.frame = QRect(0, 0, 1824, 1080)}}));
    EXPECT_FALSE(covers(kLeft, {{.frame = QRect(0, 0, 1823, 1080)}}));
    // Together, overlapping, and reaching over the edge into the other screen.
    const QList<Window> pair = {{.frame = QRect(0, 0, 1800, 1080)},
                                {.frame = QRect(1700, 0, 400, 1080)}};
    EXPECT_TRUE(covers(kLeft, pair));
    EXPECT_FALSE(covers(kRight, pair));

    // A maximized or fullscreen window covers the screen it is on, gaps or not.
    const Window maximized{.frame = QRect(10, 10, 1500, 900), .isMaximized = true};
    EXPECT_TRUE(covers(kLeft, {maximized}));
    EXPECT_FALSE(covers(kRight, {maximized}));
    EXPECT_TRUE(covers(kRight, {{.frame = kRight, .isFullscreen = true}}));

    Window hidden = maximized;
    hidden.isHidden = true;
    EXPECT_FALSE(covers(kLeft, {hidden}));
    Window elsewhere = maximized;
    elsewhere.workspace = 1;
    EXPECT_FALSE(covers(kLeft, {elsewhere}));
    EXPECT_TRUE(covers(kLeft, {elsewhere}, 1));
    EXPECT_FALSE(covers(QRect(), {maximized}));
}

TEST(CoverageMonitorTest, ASharedPlayerIsCoveredOnlyWhenEveryScreenIs) {
    auto owned = std::make_unique<FakeCoverageSource>();
    FakeCoverageSource* source = owned.get();
    CoverageMonitor monitor(std::move(owned));
    QSignalSpy changes(&monitor, &CoverageMonitor::coverageChanged);
    monitor.setTargets({{u"1"_s, {kLeft}}, {u"default"_s, {kLeft, kRight}}});
    monitor.setEnabled(true);
    EXPECT_TRUE(monitor.canTell());

    source->set(Snapshot{0, {{.frame = kLeft, .isMaximized = true}}});
    ASSERT_TRUE(changes.wait());
    EXPECT_EQ(changes.takeFirst(), QVariantList({u"1"_s, true}));
    testutil::waitTimerPeriods(CoverageMonitor::kSettleMs);
    EXPECT_TRUE(changes.isEmpty());
    EXPECT_FALSE(monitor.isCovered(u"default"_s));

    source->set(Snapshot{0, {{.frame = kLeft, .isMaximized = true}, {.frame = kRight}}});
    ASSERT_TRUE(changes.wait());
    EXPECT_EQ(changes.takeFirst(), QVariantList({u"default"_s, true}));

    // A desktop that cannot tell pauses nothing.
    source->set(std::nullopt);
    EXPECT_TRUE(testutil::waitUntil([&] { return !monitor.canTell(); }));
    EXPECT_EQ(monitor.unavailableReason(), u"no EWMH window manager"_s);
    EXPECT_FALSE(monitor.isCovered(u"1"_s));
    EXPECT_FALSE(monitor.isCovered(u"default"_s));

    // Switched off, nothing counts as covered.
    source->set(Snapshot{0, {{.frame = kLeft, .isFullscreen = true}}});
    ASSERT_TRUE(testutil::waitUntil([&] { return monitor.isCovered(u"1"_s); }));
    monitor.setEnabled(false);
    EXPECT_FALSE(monitor.isCovered(u"1"_s));
}

} // namespace
