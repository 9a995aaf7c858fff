"""A plot of what the application holds, minute by minute, as SVG."""
from xml.sax.saxutils import escape

WIDTH, HEIGHT, LEFT, RIGHT, TOP = 1040, 460, 60, 160, 160
LINES = (("rss", "resident", "#1f77b4"), ("pss", "proportional", "#2ca02c"), ("private", "private", "#d62728"))


def plot(rows, events):
    """Of rows with minute, rss, pss and private in KiB, and of events with minute and words."""
    minutes = max([1, *(row["minute"] for row in rows), *(minute for minute, _ in events)])
    top = max([1024, *(row["rss"] for row in rows)]) * 1.1

    def at(minute, kib=0):
        return f"{LEFT + minute / minutes * (WIDTH - LEFT - RIGHT):.1f},{HEIGHT - 40 - kib / top * (HEIGHT - 40 - TOP):.1f}"

    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" font-size="11">',
             f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>']
    for mib in range(0, int(top / 1024) + 1, 2):
        x, y = at(0, mib * 1024).split(",")
        parts.append(f'<path d="M{x} {y}H{WIDTH - RIGHT}" stroke="#ddd"/>'
                     f'<text x="{LEFT - 6}" y="{y}" text-anchor="end">{mib} MiB</text>')
    for minute in range(0, int(minutes) + 1, max(1, int(minutes) // 12)):
        x = at(minute).split(",")[0]
        parts.append(f'<text x="{x}" y="{HEIGHT - 24}" text-anchor="middle">{minute} min</text>')
    words_at = 0.0
    for minute, words in events:
        x = at(minute).split(",")[0]
        # What happens at once is written side by side.
        words_at = max(float(x), words_at + 16)
        parts.append(f'<path d="M{x} {HEIGHT - 40}V{TOP}L{words_at} {TOP - 10}" stroke="#bbb" stroke-dasharray="2" fill="none"/>'
                     f'<text transform="translate({words_at},{TOP - 14}) rotate(-40)">{escape(words)}</text>')
    for number, (key, name, colour) in enumerate(LINES):
        points = " ".join(at(row["minute"], row[key]) for row in rows)
        parts.append(f'<polyline points="{points}" fill="none" stroke="{colour}" stroke-width="1.5"/>'
                     f'<text x="{LEFT + 100 * number}" y="{HEIGHT - 6}" fill="{colour}">{name}</text>')
    return "\n".join([*parts, "</svg>"]) + "\n"
