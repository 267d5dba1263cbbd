# SPDX-License-Identifier: Apache-2.0
"""Sentences over waveform and probability as a picture: plain SVG, which a notebook shows and keeps, without scripts or styles of its own."""
from __future__ import annotations

import html
from dataclasses import dataclass
from typing import Iterator, List, Tuple

import numpy as np

from ._types import Array

from ._track import Outline
from .events import Sentence

_WIDTH = 960
_LEFT = 44
_RIGHT = 8
_WAVE = 90  # height of the waveform
_CURVE = 50  # and of the probability
_GAP = 6
_LANE = _WAVE + _GAP + _CURVE + 20
_HEAD = 22
_FOOT = 24
_MOST_LANES = 8
_SPEECH = "#2a78d6"
_SOUND = "#7a8794"
_LINE = "#c2571a"


@dataclass(frozen=True)
class Lane:
    """What was heard on one channel, from 1; 0 for the mean of all."""

    channel: int
    outline: Outline
    sentences: List[Sentence]


def draw(name: str, lanes: List[Lane], duration: float, threshold: float, damage: str) -> str:
    """The picture as an SVG element. `duration` in seconds."""
    shown = lanes[:_MOST_LANES]
    height = _HEAD + _LANE * len(shown) + _FOOT
    count = sum(len(lane.sentences) for lane in lanes)
    title = f"{name}: {count} sentence{'' if count == 1 else 's'} in {duration:.2f} s"
    if len(lanes) > len(shown):
        title += f"; {len(lanes) - len(shown)} further channels are not shown"
    if damage:
        title += f"; {damage}"
    seconds = max(duration, 0.01)
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {_WIDTH} {height}" width="100%" style="max-width:{_WIDTH}px" '
             f'role="img" font-family="sans-serif" font-size="11" fill="currentColor">',
             f"<title>{_safe(title)}</title>",
             f'<text x="{_LEFT}" y="14" font-size="12">{_safe(title)}</text>']
    for number, lane in enumerate(shown):
        parts += _lane(lane, _HEAD + number * _LANE, seconds, threshold, len(lanes) > 1)
    parts += _axis(_HEAD + _LANE * len(shown), seconds)
    return "".join(parts) + "</svg>"


def _safe(words: str) -> str:
    """Words as they may stand in an element, whatever they hold."""
    return html.escape("".join(c if c.isprintable() else " " for c in words))


def _x(at: float, seconds: float) -> float:
    return _LEFT + (_WIDTH - _LEFT - _RIGHT) * min(max(at / seconds, 0.0), 1.0)


def _lane(lane: Lane, top: int, seconds: float, threshold: float, told: bool) -> Iterator[str]:
    low, high, probability = lane.outline.columns()
    at = (np.arange(len(low)) + 0.5) * lane.outline.column_frames / lane.outline.rate
    curve_top = top + _WAVE + _GAP
    for sentence in lane.sentences:
        yield _sentence(sentence, top, seconds)
    if len(low):
        yield f'<path d="{_wave(at, low, high, top, seconds)}" fill="{_SOUND}" stroke="{_SOUND}" stroke-width="0.4"/>'
    for value in (0.0, threshold, 1.0):
        y = curve_top + _CURVE * (1 - value)
        dashes = ' stroke-dasharray="3 3"' if value == threshold else ""
        yield (f'<line x1="{_LEFT}" x2="{_WIDTH - _RIGHT}" y1="{y:.1f}" y2="{y:.1f}" stroke="currentColor" stroke-opacity="0.35"'
               f' stroke-width="0.6"{dashes}/>')
        yield f'<text x="{_LEFT - 4}" y="{y + 3.5:.1f}" text-anchor="end" font-size="9">{value:g}</text>'
    yield f'<path d="{_curve(at, probability, curve_top, seconds)}" fill="none" stroke="{_LINE}" stroke-width="1"/>'
    if told:
        yield f'<text x="{_LEFT - 4}" y="{top + _WAVE / 2:.0f}" text-anchor="end">{lane.channel or "mix"}</text>'


def _sentence(sentence: Sentence, top: int, seconds: float) -> str:
    left, right = _x(sentence.begin, seconds), _x(sentence.end, seconds)
    words = f"{sentence.number}: {sentence.begin:.2f} to {sentence.end:.2f} s, {sentence.level:.1f} dB"
    if sentence.snr == sentence.snr:
        words += f", {sentence.snr:.0f} dB over the noise"
    label = f'<text x="{left + 2:.1f}" y="{top + 10}" font-size="9">{sentence.number}</text>' if right - left > 12 else ""
    return (f'<g><title>{_safe(words)}</title><rect x="{left:.1f}" y="{top}" width="{max(right - left, 0.5):.1f}" '
            f'height="{_WAVE + _GAP + _CURVE}" fill="{_SPEECH}" fill-opacity="0.22" stroke="{_SPEECH}" stroke-width="0.6"/>{label}</g>')


def _wave(at: Array, low: Array, high: Array, top: int, seconds: float) -> str:
    """Down one side of the outline and back along the other, with the loudest sample at the border."""
    loudest = max(float(np.max(np.abs(low))), float(np.max(np.abs(high))), 1e-4)
    step = -(-len(low) // (2 * _WIDTH))  # two columns for each unit of the width: more would not be seen
    starts = np.arange(0, len(low), step)
    at, low, high = at[starts], np.minimum.reduceat(low, starts), np.maximum.reduceat(high, starts)
    middle = top + _WAVE / 2
    points = [f"{_x(t, seconds):.1f} {middle - _WAVE / 2 * y / loudest:.1f}" for t, y in zip(at, high)]
    points += [f"{_x(t, seconds):.1f} {middle - _WAVE / 2 * y / loudest:.1f}" for t, y in zip(at[::-1], low[::-1])]
    return "M" + "L".join(points) + "Z"


def _curve(at: Array, probability: Array, top: int, seconds: float) -> str:
    """The mean of each pixel; gaps where nothing was told."""
    step = max(1, -(-len(at) // _WIDTH))
    path: List[str] = []
    pen_down = False
    for i in range(0, len(at), step):
        part = probability[i:i + step]
        part = part[~np.isnan(part)]
        if len(part) == 0:
            pen_down = False
            continue
        path.append(f"{'L' if pen_down else 'M'}{_x(at[i], seconds):.1f} {top + _CURVE * (1 - float(part.mean())):.1f}")
        pen_down = True
    return "".join(path)


def _axis(top: int, seconds: float) -> Iterator[str]:
    for at, label in _ticks(seconds):
        x = _x(at, seconds)
        yield f'<line x1="{x:.1f}" x2="{x:.1f}" y1="{top - 14}" y2="{top - 9}" stroke="currentColor"/>'
        yield f'<text x="{x:.1f}" y="{top + 3}" text-anchor="middle">{label}</text>'


def _ticks(seconds: float) -> List[Tuple[float, str]]:
    """Five to ten round places, in seconds, or in minutes and hours where there are many."""
    steps = (0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200, 14400, 28800)
    step = next((one for one in steps if seconds / one <= 10), 86400)
    return [(i * step, _clock(i * step, seconds)) for i in range(int(seconds / step + 1e-9) + 1)]


def _clock(at: float, seconds: float) -> str:
    if seconds < 120:
        return f"{at:.10g} s"
    hours, rest = divmod(round(at), 3600)
    return f"{hours}:{rest // 60:02}:{rest % 60:02}" if seconds >= 3600 else f"{rest // 60}:{rest % 60:02}"
