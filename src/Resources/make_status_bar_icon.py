# Draws the StatusBarIcon glyph (a small flame) into StatusBarIcon.png and StatusBarIcon@2x.png.
# Usage: python3 make_status_bar_icon.py <output folder>
import math, zlib, struct, sys

def teardrop(x, y, cx, cy, r, tipx, tipy, bend):
    # round bottom
    if y >= cy:
        return (x-cx)**2 + (y-cy)**2 <= r*r
    if y < tipy:
        return False
    t = (y - tipy) / (cy - tipy)          # 0 at tip, 1 at circle centre
    w = r * math.sin(t * math.pi / 2) ** 1.15
    mid = cx + (tipx - cx) * (1 - t) ** 1.6 + bend * math.sin(t * math.pi) 
    return abs(x - mid) <= w

def inside(x, y):
    outer = teardrop(x, y, 8.0, 10.4, 5.2, 10.2, 0.5, -1.0)
    inner = teardrop(x, y, 8.1, 11.9, 2.1, 6.9, 7.0, 0.5)
    return outer and not inner

def render(size, ss=12):
    scale = 16.0 / size
    rows = []
    for py in range(size):
        row = bytearray([0])
        for px in range(size):
            n = 0
            for sy in range(ss):
                for sx in range(ss):
                    x = (px + (sx + 0.5) / ss) * scale
                    y = (py + (sy + 0.5) / ss) * scale
                    if inside(x, y):
                        n += 1
            a = round(255 * n / (ss * ss))
            row += bytes([0, 0, 0, a])
        rows.append(bytes(row))
    return rows

def png(path, size):
    rows = render(size)
    raw = b''.join(rows)
    def chunk(t, d):
        c = struct.pack('>I', len(d)) + t + d
        return c + struct.pack('>I', zlib.crc32(t + d) & 0xffffffff)
    data = b'\x89PNG\r\n\x1a\n' + chunk(b'IHDR', struct.pack('>IIBBBBB', size, size, 8, 6, 0, 0, 0))
    data += chunk(b'IDAT', zlib.compress(raw, 9)) + chunk(b'IEND', b'')
    open(path, 'wb').write(data)
    for r in rows:
        print(''.join(' .:-=+*#%@'[min(9, r[1+4*i+3]*10//256)] for i in range(size)))

png(sys.argv[1] + '/StatusBarIcon.png', 16)
png(sys.argv[1] + '/StatusBarIcon@2x.png', 32)
