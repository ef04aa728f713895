# peer_pillow.py: a true-colour picture to GIF through Pillow's median cut, for comparison: peer_pillow.py IN.ppm OUT.gif
import sys

from PIL import Image

picture = Image.open(sys.argv[1])
picture.quantize(256, method=Image.Quantize.MEDIANCUT, dither=Image.Dither.NONE).save(sys.argv[2])
