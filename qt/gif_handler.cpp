// gif_handler.cpp: the order of things: indices, then the whole GIF in memory, then the device. So a picture that fails
// leaves the device as it was.

#include "qt/gif_handler.h"

#include <algorithm>

#include <QFileDevice>
#include <QImage>
#include <QLoggingCategory>

#include "qt/gif_export.h"
#include "qt/indexed_picture.h"
#include "qt/memory_file.h"

namespace qtolva {
namespace {

Q_LOGGING_CATEGORY(logGif, "tolva.qt")

constexpr int kLeastDiffused = 50;

// QImageWriter flushes files, too, and does not look whether that went: a full disk would be found by nobody. Where a
// part got through, the second flush is what learns the reason.
bool isThrough(QIODevice& device) {
    auto* const file = qobject_cast<QFileDevice*>(&device);
    return file == nullptr || file->flush() || file->flush();
}

QString sendTo(QIODevice* device, const MemoryFile& gif) {
    if (device == nullptr || !device->isWritable()) return QStringLiteral("there is no device to write to");
    const auto* const bytes = reinterpret_cast<const char*>(gif.bytes);
    for (qint64 sent = 0, taken = 0; sent < gif.size; sent += taken) {
        taken = device->write(bytes + sent, gif.size - sent);
        if (taken <= 0) return device->errorString();
    }
    return isThrough(*device) ? QString() : device->errorString();
}

}  // namespace

bool GifHandler::write(const QImage& image) {
    const bool diffuses = quality < 0 || quality >= kLeastDiffused;
    IndexedPicture picture;
    MemoryFile gif;
    QString failure = makeIndexed(image, diffuses ? kTolvaDiffuseUnlessExact : kTolvaDiffuseNever, picture);
    if (failure.isEmpty()) failure = exportGif(picture, interlace, gif);
    if (failure.isEmpty()) failure = sendTo(device(), gif);
    if (!failure.isEmpty()) qCWarning(logGif, "GIF not saved: %s", qUtf8Printable(failure));
    return failure.isEmpty();
}

bool GifHandler::supportsOption(ImageOption option) const {
    return option == Quality || option == ProgressiveScanWrite;
}

QVariant GifHandler::option(ImageOption option) const {
    if (option == Quality) return quality;
    return option == ProgressiveScanWrite ? QVariant(interlace) : QVariant();
}

void GifHandler::setOption(ImageOption option, const QVariant& value) {
    if (option == Quality) quality = value.toInt();
    if (option == ProgressiveScanWrite) interlace = value.toBool();
}

}  // namespace qtolva
