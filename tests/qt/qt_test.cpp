// What a program that uses Qt may rely on. The decoder is Qt's own.

#include <atomic>
#include <csignal>
#include <thread>

#include <gtest/gtest.h>
#include <QBuffer>
#include <QCoreApplication>
#include <QFile>
#include <QImageReader>
#include <QImageWriter>
#include <QProcess>

#include <sys/resource.h>

#include "../programs.h"

namespace {

std::atomic<int> warnings;
void noteWarning(QtMsgType, const QMessageLogContext& context, const QString& text) {
    warnings += QByteArray(context.category) == "tolva.qt" ? 1 : 0;
    std::fprintf(stderr, "%s\n", qUtf8Printable(text));
}

bool save(QIODevice& device, const QImage& image, int quality = -1, bool interlaced = false) {
    QImageWriter writer(&device, "gif");
    writer.setQuality(quality);
    writer.setProgressiveScanWrite(interlaced);
    return writer.write(image);
}
QByteArray gifOf(const QImage& image, int quality = -1, bool interlaced = false) {
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    return save(buffer, image, quality, interlaced) ? buffer.data() : QByteArray();
}

// As a GIF can show it: transparent, or over white.
QImage shown(const QImage& image) {
    QImage seen = image.convertToFormat(image.hasAlphaChannel() ? QImage::Format_ARGB32 : QImage::Format_RGB32)
                      .convertToFormat(QImage::Format_ARGB32);
    for (int i = 0; i < seen.width() * seen.height(); ++i) {
        QRgb& pixel = reinterpret_cast<QRgb*>(seen.scanLine(i / seen.width()))[i % seen.width()];
        const int a = qAlpha(pixel), white = 255 * (255 - a) + 127;
        const auto over = [=](int level) { return (level * a + white) / 255; };
        pixel = a < 128 ? 0 : qRgb(over(qRed(pixel)), over(qGreen(pixel)), over(qBlue(pixel)));
    }
    return seen;
}
bool holds(const QByteArray& gif, const QImage& image) { return shown(QImage::fromData(gif)) == shown(image); }

QImage patches(int width, int height, int colours, bool opaque = true) {
    QImage image(width, height, QImage::Format_ARGB32);
    for (int i = 0; i < width * height; ++i) {
        const int x = i % width, y = i / width, n = (x / 3 * 31 + y / 2 * 17 + x * y / 64) % colours;
        image.setPixel(x, y, qRgba(n * 5 % 256, n, 255 - n, opaque || n % 4 == 3 ? 255 : n % 4 * 80));
    }
    return image;
}

// Takes 1000 bytes at a time, and none from the n-th write on.
struct FailingDevice : QIODevice {
    int writesLeft;
    explicit FailingDevice(int writes) : writesLeft(writes) { open(WriteOnly | Unbuffered); }
    bool isSequential() const override { return true; }
    qint64 readData(char*, qint64) override { return -1; }
    qint64 writeData(const char*, qint64 n) override { return writesLeft-- > 0 ? qMin<qint64>(n, 1000) : -1; }
};
// How many warnings there were; -1 where it was saved all the same.
int refusalOf(QIODevice& device, const QImage& image) {
    warnings = 0;
    return save(device, image) ? -1 : warnings.load();
}
void refuseWithin(__rlimit_resource resource, rlim_t most, QIODevice& device, const QImage& image) {
    const rlimit limit = {most, most};
    setrlimit(resource, &limit);
    signal(SIGXFSZ, SIG_IGN);
    _exit(refusalOf(device, image));
}

}  // namespace

TEST(QtPlugin, WritesAndLeavesReadingToQt) {
    QBuffer buffer;
    buffer.open(QIODevice::ReadWrite);
    QImageWriter writer(&buffer, "Gif");
    for (int i = 0; i <= QImageIOHandler::ImageTransformation; ++i) {
        const auto option = static_cast<QImageIOHandler::ImageOption>(i);
        const bool isOurs = option == QImageIOHandler::Quality || option == QImageIOHandler::ProgressiveScanWrite;
        EXPECT_EQ(writer.supportsOption(option), isOurs) << i;
    }
    const Temporary folder;
    const QString name = QString::fromStdString(folder.path) + ".gif";
    ASSERT_TRUE(patches(40, 30, 200).save(name));
    EXPECT_EQ(QImageReader(name).format(), "gif");
    EXPECT_EQ(QImage(name).size(), QSize(40, 30));
}

TEST(QtPlugin, KeepsPixelsOfEveryFormatAndSize) {
    for (int i = QImage::Format_Mono; i < QImage::NImageFormats; ++i) {
        for (const bool opaque : {true, false}) {
            const QImage image = patches(61, 40, 100, opaque).convertToFormat(static_cast<QImage::Format>(i));
            EXPECT_TRUE(holds(gifOf(image), image)) << i;
        }
    }
    // Qt reads interlaced pictures of 3 or 4 rows wrong.
    for (const QSize size : {QSize(1, 2), {2, 1}, {9, 3}, {5, 4}, {1, 300}, {65535, 2}, {701, 500}, {4000, 3000}}) {
        const QImage image = patches(size.width(), size.height(), 256);
        for (const bool interlaced : {true, false}) {
            EXPECT_TRUE(holds(gifOf(image, -1, interlaced), image)) << size.width() << interlaced;
        }
    }
}

TEST(QtPlugin, KeepsTablesAndTheirTransparentEntries) {
    const QVector<QRgb> table = {0xFF000000, 0x00000000, 0xFF123456, 0x30FF0000, 0xC0000000, 0xFF7F8081, 0xFF000000};
    QImage image(7, 3, QImage::Format_Indexed8);
    for (int i = 0; i < 21; ++i) image.scanLine(i / 7)[i % 7] = static_cast<uchar>(i % 7);
    EXPECT_TRUE(holds(gifOf(image), image));
    image.setColorTable(table);
    const QByteArray gif = gifOf(image);
    EXPECT_TRUE(holds(gif, image));
    for (const int i : {0, 2, 5, 6}) EXPECT_EQ(static_cast<uint8_t>(gif[15 + 3 * i]), qBlue(table[i])) << i;
}

TEST(QtPlugin, DiffusesByQuality) {
    QImage image(256, 64, QImage::Format_RGB32);
    for (int i = 0; i < 256 * 64; ++i) image.setPixel(i % 256, i / 256, qRgb(i % 256, i / 64, 128));
    EXPECT_NE(gifOf(image, 49), gifOf(image));
    EXPECT_EQ(gifOf(image, 49), gifOf(image, 0));
    EXPECT_EQ(gifOf(image, 50), gifOf(image));
}

TEST(QtPlugin, SaysOnceWhatFailedAndSendsNothingBefore) {
    const QImage image = patches(100, 100, 256), large(16000, 16000, QImage::Format_Mono);
    const int enough = gifOf(image).size() / 1000 + 1;
    for (int writes = 0; writes <= enough; ++writes) {
        FailingDevice device(writes);
        EXPECT_EQ(refusalOf(device, image), writes == enough ? -1 : 1) << writes;
    }
    FailingDevice device(100);
    for (const QImage& refused : {patches(1, 1, 1), patches(65536, 1, 2)}) EXPECT_EQ(refusalOf(device, refused), 1);
    EXPECT_EXIT(refuseWithin(RLIMIT_AS, 200 << 20, device, large), testing::ExitedWithCode(1), "there is no memory");
    EXPECT_EQ(device.writesLeft, 100);
    const Temporary folder;
    QFile file(QString::fromStdString(folder.path));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    EXPECT_EXIT(refuseWithin(RLIMIT_FSIZE, 100, file, image), testing::ExitedWithCode(1), "saved: File too large");
}

TEST(QtPlugin, ServesProcessesAndThreads) {
    const QImage image = patches(300, 200, 256);
    QProcess cat;
    cat.start("cat", QStringList());
    EXPECT_TRUE(save(cat, image));
    cat.closeWriteChannel();
    cat.waitForFinished();
    EXPECT_TRUE(holds(cat.readAllStandardOutput(), image));
    std::vector<std::jthread> threads;
    for (int i = 1; i <= 8; ++i) {
        threads.emplace_back([=] {
            for (int n = 0; n < 20; ++n) {
                const QImage own = patches(100 + 10 * i, 90 + n, 20 * i, i % 2 == 0);
                EXPECT_TRUE(holds(gifOf(own), own));
            }
        });
    }
}

TEST(QtPlugin, ShowsNothingOfTheLibrary) {
    const std::string names = runProgram({.words = {TOLVA_NM, "-D", "--defined-only", TOLVA_PLUGIN}}).out;
    EXPECT_EQ(std::count(names.begin(), names.end(), '\n'), 2) << names;
}

int main(int count, char** arguments) {
    QCoreApplication application(count, arguments);
    QStringList paths = QCoreApplication::libraryPaths();
    paths.insert(qgetenv("TOLVA_PLACE") == "behind" ? paths.size() : 0, TOLVA_PLUGINS);
    QCoreApplication::setLibraryPaths(paths);
    qInstallMessageHandler(noteWarning);
    testing::InitGoogleTest(&count, arguments);
    return RUN_ALL_TESTS();
}
