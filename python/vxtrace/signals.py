"""Signals of CAN frames decoded with a DBC file (canmatrix).

    frames = vxtrace.read_can("x.vxt")
    long = vxtrace.signals.decode(frames, "body.dbc")
    long.pivot_table(index="time_us", columns="signal", values="value")
"""

import logging

import numpy as np
import pandas as pd

COLUMNS = ["time_us", "channel", "can_id", "message", "signal", "value", "unit"]


def _load(dbc_path):
    # canmatrix announces every optional format it cannot offer on import, through logging.
    logging.getLogger("canmatrix").setLevel(logging.ERROR)
    import canmatrix.formats

    matrices = canmatrix.formats.loadp(str(dbc_path))
    if not matrices:
        raise ValueError(f"{dbc_path}: no CAN matrix in it")
    return next(iter(matrices.values()))


class Decoded(pd.DataFrame):
    """The long table, with `unknown`: frames per (can_id, extended) that the DBC has no
    message for, and `undecodable`: frames too short for their message, per message name."""

    _metadata = ["unknown", "undecodable"]

    @property
    def _constructor(self):
        return Decoded


def decode(frames, dbc_path):
    """One row per decoded signal value: time_us, channel, can_id, message, signal, value (the
    physical value as a float) and unit. Multiplexed signals appear only in the frames whose
    multiplexer selects them. Error frames are left out; frames whose identifier is not in the
    DBC are counted in the result's `unknown`, not decoded."""
    matrix = _load(dbc_path)
    by_id = {(f.arbitration_id.id, bool(f.arbitration_id.extended)): f for f in matrix.frames}
    keep = ~frames.error
    ids, ext = frames.can_id[keep], frames.extended[keep]
    rows = np.flatnonzero(keep)
    parts, unknown, undecodable = [], {}, {}
    keys = np.unique(np.stack([ids.astype(np.int64), ext.astype(np.int64)], axis=1), axis=0)
    for ident, extended in keys.tolist():
        selected = rows[(ids == ident) & (ext == bool(extended))]
        message = by_id.get((ident, bool(extended)))
        if message is None:
            unknown[(ident, bool(extended))] = len(selected)
            continue
        parts.append(_decode_message(frames, selected, message, undecodable))
    parts = [p for p in parts if len(p)]
    if parts:
        result = Decoded(pd.concat(parts, ignore_index=True).sort_values(
            ["time_us", "signal"], kind="stable", ignore_index=True))
    else:
        result = Decoded(pd.DataFrame({c: pd.Series(dtype=t) for c, t in zip(
            COLUMNS, ["int64", "uint8", "uint32", "object", "object", "float64", "object"])}))
    result.unknown = unknown
    result.undecodable = undecodable
    return result


def _decode_message(frames, rows, message, undecodable):
    """The signals of one DBC message in the given rows. canmatrix decodes each distinct
    payload once; periodic traffic repeats its payloads, so that is far fewer than the rows."""
    size = message.size
    lengths = frames.length[rows]
    short = lengths < size
    if short.any():
        undecodable[message.name] = int(short.sum())
        rows = rows[~short]
    if not len(rows):
        return pd.DataFrame(columns=COLUMNS)
    payloads = np.ascontiguousarray(frames.data[rows, :size])
    distinct, inverse = np.unique(payloads, axis=0, return_inverse=True)
    inverse = inverse.reshape(-1)
    out_rows, out_signal, out_value, out_unit = [], [], [], []
    for k, payload in enumerate(distinct):
        members = np.flatnonzero(inverse == k)
        for name, decoded in message.decode(bytearray(payload.tobytes())).items():
            out_rows.append(members)
            out_signal.append((name, len(members)))
            out_value.append(float(decoded.phys_value))
            out_unit.append(decoded.signal.unit or "")
    if not out_rows:
        return pd.DataFrame(columns=COLUMNS)
    counts = np.array([n for _, n in out_signal])
    picked = rows[np.concatenate(out_rows)]
    return pd.DataFrame({
        "time_us": frames.time_us[picked],
        "channel": frames.channel[picked],
        "can_id": frames.can_id[picked],
        "message": message.name,
        "signal": np.repeat([name for name, _ in out_signal], counts),
        "value": np.repeat(out_value, counts),
        "unit": np.repeat(out_unit, counts),
    })
