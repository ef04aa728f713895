// plugin.cpp: what Qt finds in libqtolva.so: that it writes GIFs and reads nothing.

#include <QImageIOPlugin>

#include "qt/gif_handler.h"

namespace {

// The key is in capitals, because Qt has one plugin a key: with "gif" either this one or Qt's own, which reads, would
// go unheard, whichever is found second. Qt asks `capabilities` by the name that a program gave, in small letters.
class GifPlugin : public QImageIOPlugin {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QImageIOHandlerFactoryInterface_iid FILE "gif.json")

  public:
    Capabilities capabilities(QIODevice*, const QByteArray& format) const override {
        return format.compare("gif", Qt::CaseInsensitive) == 0 ? CanWrite : Capabilities();
    }

    QImageIOHandler* create(QIODevice* device, const QByteArray& format) const override {
        auto* const handler = new qtolva::GifHandler;
        handler->setDevice(device);
        handler->setFormat(format);
        return handler;
    }
};

}  // namespace

#include "plugin.moc"
