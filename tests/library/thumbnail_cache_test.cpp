#include "library/ThumbnailCache.h"

#include "support/StdoutCapture.h"
#include "support/TestUtil.h"
#include "support/media_clips.h"

#include <QFile>
#include <QSemaphore>
#include <QSignalSpy>
#include <QThreadPool>

#include <gtest/gtest.h>

#include <memory>
#include <utility>

namespace {

using mediaclips::clips;

const QString kNoVideoTrack =
    "ThumbnailCache: Failed to generate thumbnail for audio.m4a: The file has no video track.";

struct Delivery {
    int calls = 0;
    QImage image;
};

class ThumbnailCacheTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { clips(); }
    void SetUp() override {
        ASSERT_FALSE(clips().folder.isEmpty()) << qPrintable(mediaclips::error());
        m_cache = std::make_unique<ThumbnailCache>();
    }
    void TearDown() override {
        // Generations still running post to the application; let them land first.
        testutil::settle();
    }

    // Asks for a thumbnail; the returned record fills in when the completion runs.
    std::shared_ptr<Delivery> request(const QString& path, ThumbnailCache* cache = nullptr) {
        auto delivery = std::make_shared<Delivery>();
        (cache ? cache : m_cache.get())
            ->thumbnail(QUrl::fromLocalFile(path), [delivery](const QImage& image) {
                ++delivery->calls;
                delivery->image = image;
            });
        return delivery;
    }

    QImage thumbnail(const QString& path) {
        const std::shared_ptr<Delivery> delivery = request(path);
        EXPECT_TRUE(testutil::waitUntil([&] { return delivery->calls > 0; }))
            << "no thumbnail for " << qPrintable(path);
        EXPECT_EQ(delivery->calls, 1);
        return delivery->image;
    }

    // Keeps every worker of the shared pool busy until released, so a generation waits.
    struct PoolBlocker {
        PoolBlocker() {
            for (int i = 0; i < count; ++i)
                QThreadPool::globalInstance()->start([this] {
                    started.release();
                    go.acquire();
                });
            started.acquire(count);
        }
        ~PoolBlocker() { release(); }
        void release() { go.release(std::exchange(count, 0)); }
        int count = QThreadPool::globalInstance()->maxThreadCount();
        QSemaphore started, go;
    };

    std::unique_ptr<ThumbnailCache> m_cache;
};

TEST_F(ThumbnailCacheTest, ClipIsShownAtATenthOfItsLengthAtMostOneSecondAndCached) {
    QSignalSpy changed(m_cache.get(), &ThumbnailCache::cachedURLsChanged);
    // 5.04 s: the frame at 0.504 s is the green one; the start is red, the rest blue.
    const QImage first = thumbnail(clips().shortColours);
    EXPECT_EQ(testutil::primaryName(first), "green");
    const QUrl url = QUrl::fromLocalFile(clips().shortColours);
    EXPECT_EQ(m_cache->cachedURLs(), QSet<QUrl>{url});
    EXPECT_FALSE(m_cache->isGenerating(url));
    EXPECT_EQ(changed.count(), 1);
    // Once cached, delivered before the call returns.
    const std::shared_ptr<Delivery> again = request(clips().shortColours);
    EXPECT_EQ(again->calls, 1);
    EXPECT_TRUE(again->image == first);
    EXPECT_EQ(changed.count(), 1);

    // 12 s: green from 1 s to 1.2 s; a tenth of the length (1.2 s) would be blue.
    EXPECT_EQ(testutil::primaryName(thumbnail(clips().longColours)), "green");
    // Fitted into 400 pixels as MediaProbe fits frames.
    EXPECT_EQ(thumbnail(clips().fullHDPortrait).size(), QSize(225, 400));
}

TEST_F(ThumbnailCacheTest, SecondRequestDuringGenerationGetsTheResultAfterTheRetry) {
    const QUrl url = QUrl::fromLocalFile(clips().landscape);
    const std::shared_ptr<Delivery> first = request(clips().landscape);
    const std::shared_ptr<Delivery> second = request(clips().landscape);
    EXPECT_TRUE(m_cache->isGenerating(url));
    EXPECT_EQ(second->calls, 0);
    // The generation ends well before the retry: its result is posted ahead of the timer.
    QThreadPool::globalInstance()->waitForDone();
    int firstCallsWhenSecondCame = -1;
    ASSERT_TRUE(testutil::waitUntil([&] {
        if (second->calls > 0 && firstCallsWhenSecondCame < 0)
            firstCallsWhenSecondCame = first->calls;
        return first->calls > 0 && second->calls > 0;
    }));
    EXPECT_EQ(firstCallsWhenSecondCame, 1);
    EXPECT_EQ(first->calls, 1);
    EXPECT_EQ(second->calls, 1);
    ASSERT_FALSE(first->image.isNull());
    EXPECT_TRUE(second->image == first->image);
    EXPECT_EQ(m_cache->cachedURLs().size(), 1);
    EXPECT_FALSE(m_cache->isGenerating(url));
}

TEST_F(ThumbnailCacheTest, SecondRequestGetsNothingWhenGenerationTakesLonger) {
    const QUrl url = QUrl::fromLocalFile(clips().landscape);
    thumbnail(clips().tiny);
    auto doomed = std::make_unique<ThumbnailCache>();
    PoolBlocker blocker;
    const std::shared_ptr<Delivery> first = request(clips().landscape);
    const std::shared_ptr<Delivery> second = request(clips().landscape);
    // A cache gone before its result delivers nothing, but its retry still answers.
    const std::shared_ptr<Delivery> doomedFirst = request(clips().landscape, doomed.get());
    const std::shared_ptr<Delivery> doomedSecond = request(clips().landscape, doomed.get());
    doomed.reset();
    ASSERT_TRUE(testutil::waitUntil([&] { return second->calls > 0 && doomedSecond->calls > 0; }));
    EXPECT_TRUE(second->image.isNull());
    EXPECT_TRUE(doomedSecond->image.isNull());
    EXPECT_EQ(first->calls, 0);
    // Clearing leaves the generation in flight alone.
    m_cache->clearCache();
    EXPECT_TRUE(m_cache->isGenerating(url));
    EXPECT_TRUE(m_cache->cachedURLs().isEmpty());

    blocker.release();
    ASSERT_TRUE(testutil::waitUntil([&] { return first->calls > 0; }));
    EXPECT_FALSE(first->image.isNull());
    EXPECT_EQ(m_cache->cachedURLs(), QSet<QUrl>{url});
    EXPECT_EQ(m_cache->cacheSizeText(), "98 KB");
    testutil::settle();
    EXPECT_EQ(second->calls, 1);
    EXPECT_EQ(doomedFirst->calls, 0);
    EXPECT_EQ(doomedSecond->calls, 1);
}

// The failure's description is MediaProbe's, tested there.
TEST_F(ThumbnailCacheTest, FailurePrintsALineOncePerGenerationAndIsTriedAgainNextTime) {
    StdoutCapture output;
    // Concurrent requests for one file generate once.
    const auto first = request(clips().audioOnly), second = request(clips().audioOnly),
               third = request(clips().audioOnly);
    ASSERT_TRUE(testutil::waitUntil(
        [&] { return first->calls > 0 && second->calls > 0 && third->calls > 0; }));
    for (const auto& delivery : {first, second, third}) {
        EXPECT_EQ(delivery->calls, 1);
        EXPECT_TRUE(delivery->image.isNull());
    }
    EXPECT_EQ(output.count(kNoVideoTrack), 1);
    EXPECT_TRUE(m_cache->cachedURLs().isEmpty());
    EXPECT_FALSE(m_cache->isGenerating(QUrl::fromLocalFile(clips().audioOnly)));
    EXPECT_EQ(m_cache->cacheSizeText(), "Zero KB");

    EXPECT_TRUE(thumbnail(clips().audioOnly).isNull());
    EXPECT_EQ(output.count(kNoVideoTrack), 2);
}

TEST_F(ThumbnailCacheTest, SixtyThumbnailsAreAllCountedThoughFiftyAreKept) {
    QSignalSpy changed(m_cache.get(), &ThumbnailCache::cachedURLsChanged);
    QList<QUrl> urls;
    QList<std::shared_ptr<Delivery>> deliveries;
    for (int i = 0; i < 60; ++i) {
        const QString path = clips().folder + QStringLiteral("/copy-%1.mp4").arg(i);
        ASSERT_TRUE(QFile::exists(path) || QFile::copy(clips().tiny, path));
        urls.append(QUrl::fromLocalFile(path));
        deliveries.append(request(path));
    }
    ASSERT_TRUE(testutil::waitUntil([&] {
        return std::all_of(deliveries.begin(), deliveries.end(),
                           [](const auto& delivery) { return delivery->calls > 0; });
    }));
    for (const auto& delivery : deliveries)
        EXPECT_FALSE(delivery->image.isNull());

    EXPECT_EQ(m_cache->cachedURLs().size(), 60);
    EXPECT_EQ(changed.count(), 60);
    // 60 × 100,000 bytes = 6,000,000 bytes = 5.72 MiB.
    EXPECT_EQ(m_cache->cacheSizeText(), "5.7 MB");
    const auto kept = std::count_if(urls.begin(), urls.end(), [&](const QUrl& url) {
        return !m_cache->cachedImage(url).isNull();
    });
    EXPECT_EQ(kept, ThumbnailCache::countLimit);

    m_cache->clearCache();
    EXPECT_TRUE(m_cache->cachedURLs().isEmpty());
    EXPECT_EQ(changed.count(), 61);
    EXPECT_EQ(m_cache->cacheSizeText(), "Zero KB");
    EXPECT_TRUE(m_cache->cachedImage(urls.last()).isNull());
}

TEST_F(ThumbnailCacheTest, MemorySizesReadInBinaryUnits) {
    const std::pair<qint64, const char*> cases[] = {{1, "1 byte"},       {512, "512 bytes"},
                                                    {1024, "1 KB"},      {1048575, "1.0 MB"},
                                                    {5000000, "4.8 MB"}, {5000000000, "4.66 GB"}};
    for (const auto& [bytes, text] : cases)
        EXPECT_EQ(ThumbnailCache::memorySizeText(bytes), text) << bytes;
}

} // namespace
