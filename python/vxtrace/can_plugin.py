"""python-can reader and writer for .vxt traces, registered under the entry-point groups
can.io.message_reader and can.io.message_writer, so that can.LogReader, can.Logger,
can.logconvert and can.player take .vxt files.

Messages carry the zero-based logger channel as an int, is_rx False for frames the logger sent,
and time stamps in seconds since the epoch.
"""

import os
import tempfile
import warnings

import can
from can.io.generic import FileIOMessageWriter, MessageReader

from . import _vxtrace, iter_can


class VxtReader(MessageReader):
    """The CAN frames of a trace (CAN, CAN FD, extended and proxy records, containers
    included) as can.Message objects, read in batches in constant memory."""

    def __init__(self, file, **kwargs):
        # The trace is read by the library: a path stays a path, a file object is read as is.
        self._source = file
        self.file = None if isinstance(file, (str, os.PathLike)) else file
        self._filters = kwargs

    def __iter__(self):
        message = can.Message
        for frames in iter_can(self._source, **self._filters):
            data = frames.data
            rows = zip(frames.time_us.tolist(), frames.channel.tolist(), frames.can_id.tolist(),
                       frames.extended.tolist(), frames.fd.tolist(), frames.brs.tolist(),
                       frames.esi.tolist(), frames.error.tolist(), frames.tx.tolist(),
                       frames.length.tolist())
            for i, (t, ch, ident, ext, fd, brs, esi, err, tx, n) in enumerate(rows):
                yield message(timestamp=t / 1e6, arbitration_id=ident, is_extended_id=ext,
                              is_error_frame=err, channel=ch, dlc=n, data=data[i, :n].tobytes(),
                              is_fd=fd, bitrate_switch=brs, error_state_indicator=esi,
                              is_rx=not tx, check=False)
        self.stop()


def _channel_number(channel, default):
    if channel is None:
        return default
    if isinstance(channel, int):
        return channel
    text = str(channel).strip()
    digits = text.lstrip("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_# ")
    if digits.isdigit():
        return int(digits)
    raise ValueError(f"vxtrace: no CAN channel number in {channel!r}")


class VxtWriter(FileIOMessageWriter):
    """Writes can.Message objects as CAN records (V1 framing with markers): the classic record
    for 11-bit classic frames, the extended record for 29-bit and CAN FD frames. A path is
    written under a temporary name and put in place by stop(), so a failed run leaves an
    existing file as it was. The logger records no remote frames: those are left out, with one
    warning at the end."""

    def __init__(self, file, channel=0, **kwargs):
        self._target = None
        if isinstance(file, (str, os.PathLike)):
            self._target = os.fspath(file)
            fd, self._temp = tempfile.mkstemp(prefix=".vxtrace-", suffix=".tmp",
                                              dir=os.path.dirname(os.path.abspath(self._target)))
            file = os.fdopen(fd, "wb")
        super().__init__(file, mode="wb")
        self.channel = channel
        self._remote = 0

    def on_message_received(self, msg):
        if msg.is_remote_frame:
            self._remote += 1
            return
        time_us = max(0, round(msg.timestamp * 1e6))
        self.file.write(_vxtrace._encode_can(
            time_us, _channel_number(msg.channel, self.channel), msg.arbitration_id,
            msg.is_extended_id, msg.is_fd, msg.bitrate_switch, msg.error_state_indicator,
            msg.is_error_frame, not msg.is_rx, bytes(msg.data or b"")))

    def stop(self):
        if self.file is None or self.file.closed:
            return
        try:
            super().stop()
        except BaseException:
            if self._target:
                os.unlink(self._temp)
            raise
        if self._target:
            mask = os.umask(0)
            os.umask(mask)
            os.chmod(self._temp, 0o666 & ~mask)
            os.replace(self._temp, self._target)
        if self._remote:
            warnings.warn(f"vxtrace: {self._remote} remote frames not written (the trace "
                          "format has none)", RuntimeWarning, stacklevel=2)
