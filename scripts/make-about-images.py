#!/usr/bin/python3
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Draws the about box's pictures: the library's backgrounds "leftBack" and "rightBack", and the
example program's icon and name picture. Needs Python 3 with Pillow (Debian: python3-pil) and the
DejaVu fonts (fonts-dejavu-core). The results are committed; run this only to change them:

    /usr/bin/python3 scripts/make-about-images.py
"""
import math
import os
import random

from PIL import Image, ImageDraw, ImageFilter, ImageFont

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
SCALE = 4  # drawn this much larger, then reduced, for smooth edges
FONT_DIR = "/usr/share/fonts/truetype/dejavu"


def lerp(a, b, t):
    return tuple(round(x + (y - x) * t) for x, y in zip(a, b))


def vertical_gradient(size, stops):
    """stops: [(position 0..1, (r, g, b)), ...] from top to bottom."""
    width, height = size
    image = Image.new("RGB", size)
    draw = ImageDraw.Draw(image)
    for y in range(height):
        t = y / max(1, height - 1)
        for (p0, c0), (p1, c1) in zip(stops, stops[1:]):
            if p0 <= t <= p1:
                draw.line([(0, y), (width, y)], fill=lerp(c0, c1, (t - p0) / max(1e-9, p1 - p0)))
                break
    return image


def glow(size, centre, radius, colour, strength):
    """A soft round light, as an RGBA layer."""
    layer = Image.new("RGBA", size, colour + (0,))
    mask = Image.new("L", size, 0)
    ImageDraw.Draw(mask).ellipse(
        [centre[0] - radius, centre[1] - radius, centre[0] + radius, centre[1] + radius], fill=strength)
    layer.putalpha(mask.filter(ImageFilter.GaussianBlur(radius / 2)))
    return layer


def left_back():
    size = (220, 320)
    image = vertical_gradient(size, [(0.0, (44, 82, 130)), (0.55, (27, 52, 88)), (1.0, (15, 29, 52))]).convert("RGBA")
    image.alpha_composite(glow(size, (110, 98), 120, (140, 190, 240), 110))
    image.alpha_composite(glow(size, (110, 250), 90, (90, 140, 200), 40))
    # Fine light arcs behind the icon, like ripples on ink.
    arcs = Image.new("RGBA", (size[0] * SCALE, size[1] * SCALE), (0, 0, 0, 0))
    draw = ImageDraw.Draw(arcs)
    cx, cy = 110 * SCALE, 98 * SCALE
    for i, r in enumerate(range(84, 240, 22)):
        alpha = max(0, 46 - i * 6)
        draw.ellipse([cx - r * SCALE, cy - r * SCALE, cx + r * SCALE, cy + r * SCALE],
                     outline=(200, 225, 255, alpha), width=SCALE)
    image.alpha_composite(arcs.resize(size, Image.LANCZOS))
    # A thin bright edge where the credits panel begins.
    edge = Image.new("RGBA", size, (0, 0, 0, 0))
    ImageDraw.Draw(edge).line([(size[0] - 1, 0), (size[0] - 1, size[1])], fill=(170, 205, 240, 90))
    image.alpha_composite(edge)
    return image.convert("RGB")


def right_back():
    size = (320, 320)
    image = vertical_gradient(size, [(0.0, (24, 40, 66)), (0.5, (19, 33, 56)), (1.0, (11, 21, 38))]).convert("RGBA")
    image.alpha_composite(glow(size, (250, 40), 140, (70, 110, 160), 60))
    # A few blurred specks of light, far from where the text runs, so reading stays easy.
    random.seed(7)
    specks = Image.new("RGBA", size, (0, 0, 0, 0))
    draw = ImageDraw.Draw(specks)
    for _ in range(26):
        x, y = random.uniform(0, size[0]), random.uniform(0, size[1])
        r = random.uniform(2, 9)
        draw.ellipse([x - r, y - r, x + r, y + r], fill=(150, 190, 235, random.randint(14, 34)))
    image.alpha_composite(specks.filter(ImageFilter.GaussianBlur(2.5)))
    # Darker bands at the top and bottom, where the credits come in and leave.
    bands = Image.new("RGBA", size, (0, 0, 0, 0))
    draw = ImageDraw.Draw(bands)
    for y in range(size[1]):
        fade = max(0.0, 1 - y / 36, 1 - (size[1] - 1 - y) / 36)
        draw.line([(0, y), (size[0], y)], fill=(8, 15, 28, round(150 * fade ** 1.5)))
    image.alpha_composite(bands)
    return image.convert("RGB")


def icon():
    size = 128 * SCALE
    image = Image.new("RGBA", (size, size), (0, 0, 0, 0))
    # A rounded tile with a warm paper gradient.
    tile = vertical_gradient((size, size), [(0.0, (255, 246, 224)), (1.0, (236, 205, 150))]).convert("RGBA")
    mask = Image.new("L", (size, size), 0)
    inset = 6 * SCALE
    ImageDraw.Draw(mask).rounded_rectangle([inset, inset, size - inset, size - inset], radius=26 * SCALE, fill=255)
    shadow = Image.new("RGBA", (size, size), (0, 0, 0, 0))
    shadow.putalpha(mask.filter(ImageFilter.GaussianBlur(4 * SCALE)).point(lambda v: v * 0.55))
    image.alpha_composite(shadow, (0, 3 * SCALE))
    image.paste(tile, (0, 0), mask)
    draw = ImageDraw.Draw(image)
    draw.rounded_rectangle([inset, inset, size - inset, size - inset], radius=26 * SCALE,
                           outline=(190, 150, 90, 255), width=2 * SCALE)
    # Ruled lines of a page.
    for i in range(4):
        y = (38 + i * 17) * SCALE
        draw.line([(24 * SCALE, y), ((104 - (30 if i == 3 else 0)) * SCALE, y)], fill=(120, 150, 190, 150), width=2 * SCALE)
    # A pen nib writing across the page, pointing down-left.
    nib = Image.new("RGBA", (size, size), (0, 0, 0, 0))
    nd = ImageDraw.Draw(nib)
    s = SCALE
    body = [(64 * s, 4 * s), (86 * s, 26 * s), (82 * s, 62 * s), (64 * s, 104 * s), (46 * s, 62 * s), (42 * s, 26 * s)]
    nd.polygon(body, fill=(39, 74, 109, 255))
    nd.polygon([(64 * s, 14 * s), (78 * s, 30 * s), (75 * s, 60 * s), (64 * s, 88 * s)], fill=(70, 115, 160, 255))
    nd.line([(64 * s, 58 * s), (64 * s, 104 * s)], fill=(250, 240, 215, 255), width=2 * s)
    nd.ellipse([59 * s, 52 * s, 69 * s, 62 * s], fill=(250, 240, 215, 255))
    nib = nib.rotate(-38, resample=Image.BICUBIC, center=(64 * s, 60 * s), translate=(4 * s, -4 * s))
    image.alpha_composite(nib)
    return image.resize((128, 128), Image.LANCZOS)


def name_picture(text):
    width, height = 196, 60
    big = Image.new("RGBA", (width * SCALE, height * SCALE), (0, 0, 0, 0))
    font = ImageFont.truetype(os.path.join(FONT_DIR, "DejaVuSerif-Bold.ttf"), 30 * SCALE)
    draw = ImageDraw.Draw(big)
    box = draw.textbbox((0, 0), text, font=font)
    x = (width * SCALE - (box[2] - box[0])) / 2 - box[0]
    y = (height * SCALE - (box[3] - box[1])) / 2 - box[1]
    shadow = Image.new("RGBA", big.size, (0, 0, 0, 0))
    ImageDraw.Draw(shadow).text((x, y + 2 * SCALE), text, font=font, fill=(5, 12, 25, 170))
    big.alpha_composite(shadow.filter(ImageFilter.GaussianBlur(3 * SCALE)))
    # Text in a light gradient from white to pale gold.
    fill = vertical_gradient(big.size, [(0.0, (255, 255, 255)), (0.45, (255, 255, 255)), (1.0, (244, 214, 160))]).convert("RGBA")
    mask = Image.new("L", big.size, 0)
    ImageDraw.Draw(mask).text((x, y), text, font=font, fill=255)
    big.paste(fill, (0, 0), mask)
    return big.resize((width, height), Image.LANCZOS)


def main():
    outputs = {
        "src/about/leftBack.png": left_back(),
        "src/about/rightBack.png": right_back(),
        "examples/aboutbox/icon.png": icon(),
        "examples/aboutbox/name.png": name_picture("QJ Writer"),
    }
    for path, image in outputs.items():
        image.save(os.path.join(ROOT, path), optimize=True)
        print(path, image.size)


if __name__ == "__main__":
    main()
