"""Reads a trace of track events: the wire format, then what the events say, as plain facts."""
import struct


def varint(data, at):
    value = shift = 0
    while True:
        byte = data[at]
        at += 1
        value |= (byte & 0x7F) << shift
        shift += 7
        if byte < 0x80:
            return value, at


def fields(data):
    """{field number: [value...]}: numbers of varints, bytes of nested messages and texts, floats of 8 bytes."""
    found, at = {}, 0
    while at < len(data):
        key, at = varint(data, at)
        if key & 7 == 0:
            value, at = varint(data, at)
        elif key & 7 == 1:
            value, at = struct.unpack_from("<d", data, at)[0], at + 8
        elif key & 7 == 2:
            size, at = varint(data, at)
            assert at + size <= len(data), "a length beyond the end"
            value, at = data[at:at + size], at + size
        else:
            raise AssertionError(f"wire type {key & 7}")
        found.setdefault(key >> 3, []).append(value)
    return found


def signed(value):
    return value - (1 << 64) if value >> 63 else value


def one(message, number, default=None):
    values = message.get(number, [])
    assert len(values) <= 1, f"field {number} is there {len(values)} times"
    return values[0] if values else default


class Trace:
    """facts: ("counter", path, time, value, unit), ("slice", path, begin, end, name) and
    ("instant", path, time, name, annotation), path being the names of a track and its parents."""

    def __init__(self, data):
        self.tracks, self.names, self.open, self.facts, self.snapshot = {}, None, {}, [], {}
        self.last = {}
        for packet in fields(data).get(1, []):
            self.packet(fields(packet))
        assert not any(self.open.values()), "a slice without an end"

    def packet(self, packet):
        assert one(packet, 10) == 1
        flags = one(packet, 13, 0)
        if flags & 1:
            self.names = {}
        if 6 in packet:
            for reading in fields(one(packet, 6))[1]:
                reading = fields(reading)
                self.snapshot[one(reading, 1)] = one(reading, 2)
        if 12 in packet:
            for name in fields(one(packet, 12)).get(2, []):
                name = fields(name)
                assert one(name, 1) not in self.names
                self.names[one(name, 1)] = one(name, 2).decode()
        if 60 in packet:
            self.describe(fields(one(packet, 60)))
        if 11 in packet:
            assert flags & 2 and self.names is not None
            self.event(one(packet, 8), fields(one(packet, 11)))

    def describe(self, track):
        uuid = one(track, 1)
        assert uuid and uuid not in self.tracks
        if 3 in track:
            process = fields(one(track, 3))
            path, unit = ("process", signed(one(process, 1)), one(process, 6).decode()), None
        elif 4 in track:
            thread = fields(one(track, 4))
            path, unit = ("thread", signed(one(thread, 1)), signed(one(thread, 2)), one(thread, 5).decode()), None
        else:
            assert one(track, 15) == 2
            parent = one(track, 5)
            path = (self.tracks[parent][0] if parent else ()) + (one(track, 2).decode(),)
            unit = one(fields(one(track, 8)), 6, b"").decode() if 8 in track else None
        self.tracks[uuid] = (path, unit)

    def event(self, time, event):
        kind, (path, unit) = one(event, 9), self.tracks[one(event, 11)]
        assert time < 1 << 63
        if kind == 4:
            self.counter(time, one(event, 11), signed(one(event, 30)) if 30 in event else one(event, 44))
            assert len(event.get(12, [])) == len(event.get(31, []))
            assert len(event.get(46, [])) == len(event.get(45, []))
            for uuid, value in zip(event.get(31, []), event.get(12, [])):
                self.counter(time, uuid, signed(value))
            for uuid, value in zip(event.get(45, []), event.get(46, [])):
                self.counter(time, uuid, value)
            return
        assert unit is None, "an event on a counter"
        if kind == 1:
            assert not self.open.get(path), "slices that overlap"
            assert time >= self.last.get(path, 0), "a slice that begins before the last one's end"
            self.open[path] = [(time, self.names[one(event, 10)])]
        elif kind == 2:
            begin, name = self.open[path].pop()
            assert begin <= time
            self.last[path] = time
            self.facts.append(("slice", path, begin, time, name))
        else:
            assert kind == 3
            self.facts.append(("instant", path, time, self.names[one(event, 10)], self.annotation(event)))

    def counter(self, time, uuid, value):
        path, unit = self.tracks[uuid]
        assert unit is not None
        self.facts.append(("counter", path, time, value, unit))

    @staticmethod
    def annotation(event):
        if 4 not in event:
            return None
        annotation = fields(one(event, 4))
        assert one(annotation, 10) == b"value"
        if 3 in annotation:
            return one(annotation, 3)
        if 4 in annotation:
            return signed(one(annotation, 4))
        return one(annotation, 5) if 5 in annotation else one(annotation, 6).decode()
