"""A script that knows nothing of the plugin saves a picture and reads it back."""
import sys
from PyQt5.QtGui import QImage

picture = QImage(16, 16, QImage.Format_RGB32)
for i in range(256):
    picture.setPixel(i % 16, i // 16, 0xFF000000 | i << 16 | (255 - i) << 8 | i * 7 % 256)
assert picture.save(sys.argv[1]) and QImage(sys.argv[1]).convertToFormat(picture.format()) == picture
