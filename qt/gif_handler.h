// gif_handler.h: one picture from a program's QImageWriter to its device.
#ifndef TOLVA_QT_GIF_HANDLER_H
#define TOLVA_QT_GIF_HANDLER_H

#include <QImageIOHandler>
#include <QVariant>

namespace qtolva {

class GifHandler : public QImageIOHandler {
  public:
    bool canRead() const override { return false; }
    bool read(QImage*) override { return false; }
    // False, with one warning that says why; nothing has then been sent to the device unless it is the device that
    // failed.
    bool write(const QImage& image) override;

    // Quality: -1, the default, and 50 to 100 diffuse the error of colours that are not in the palette; 0 to 49 do not.
    // ProgressiveScanWrite: interlaced.
    bool supportsOption(ImageOption option) const override;
    QVariant option(ImageOption option) const override;
    void setOption(ImageOption option, const QVariant& value) override;

  private:
    int quality = -1;
    bool interlace = false;
};

}  // namespace qtolva

#endif
