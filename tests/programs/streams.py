#!/usr/bin/env python3
"""Makes streams as recordings are, of one that is as it should be: thins, shifts, joins, takes PTS away.

Works on the packets of a transport stream with one program, in place: nothing is coded or multiplexed anew.
usage: streams.py IN OUT OPERATION[=VALUE]...  thin-klv=6  shift-klv=900  late-klv=12  repeat-klv=40:900  strip-klv
     cell-klv  junk-klv  behind-map  name-klv=128:NONE  hide-stamps  strip-video=15  strip-video=0:20  lose-video=0:4
     shift=90000  seconds=0:5  join=FILE  join=FILE:marked
"""

import sys
import zlib
from pathlib import Path

SIZE = 188
WRAP = 1 << 33
VIDEO_TYPES, KLV_TYPES = (0x02, 0x1B, 0x24), (0x06, 0x15)


class Packet:
    def __init__(self, data):
        self.data = bytearray(data)
        self.pid = (data[1] & 0x1F) << 8 | data[2]
        self.starts = bool(data[1] & 0x40)
        self.payload = 4 + (1 + data[4] if data[3] & 0x20 else 0) if data[3] & 0x10 else SIZE
        self.is_pes = self.starts and bytes(self.data[self.payload:self.payload + 3]) == b"\0\0\1"

    def _fields(self):
        """Where PTS and DTS stand."""
        flags = self.data[self.payload + 7] >> 6 if self.is_pes else 0
        return [self.payload + 9 + 5 * n for n in range({2: 1, 3: 2}.get(flags, 0))]

    def times(self):
        def read(at):
            b = self.data[at:at + 5]
            return (b[0] >> 1 & 7) << 30 | b[1] << 22 | b[2] >> 1 << 15 | b[3] << 7 | b[4] >> 1
        return [read(at) for at in self._fields()]

    def shift(self, ticks):
        for at, time in zip(self._fields(), self.times()):
            time = (time + ticks) % WRAP
            self.data[at:at + 5] = bytes([self.data[at] & 0xF0 | time >> 30 << 1 | 1, time >> 22 & 0xFF,
                                          time >> 14 & 0xFE | 1, time >> 7 & 0xFF, time << 1 & 0xFE | 1])
        if self.has_clock():
            clock = (int.from_bytes(self.data[6:11], "big") >> 7) + ticks
            self.data[6:11] = ((clock % WRAP) << 7 | self.data[10] & 0x7F).to_bytes(5, "big")
        return self

    def has_clock(self):
        return self.data[3] & 0x20 and self.data[4] and self.data[5] & 0x10

    def strip(self):
        """Takes PTS and DTS away; stuffing stands in their place."""
        for at in self._fields():
            self.data[at:at + 5] = b"\xFF" * 5
        self.data[self.payload + 7] &= 0x3F


def crc(section):
    """CRC-32 of H.222.0, which takes the bits of a byte in another order than zlib."""
    turned = bytes(int(f"{byte:08b}"[::-1], 2) for byte in section)
    return int(f"{zlib.crc32(turned) ^ 0xFFFFFFFF:032b}"[::-1], 2).to_bytes(4, "big")


def cell(number, part, data):
    """A metadata access unit cell of H.222.0; part 3 is a whole unit, 2 its begin and 1 its end."""
    return bytes([7, number % 256, part << 6 | 0x1F]) + (len(data) % 65536).to_bytes(2, "big") + data


def as_packets(pid, pes):
    """The packets of a PES; stuffing in its header fills the last one if need be."""
    for at in range(0, len(pes), 184):
        part = pes[at:at + 184]
        field = b"" if len(part) == 184 else (bytes([183 - len(part), 0]) + b"\xff" * 184)[:184 - len(part)]
        yield Packet(bytes([0x47, (at == 0) << 6 | pid >> 8, pid & 0xFF, 0x30 if field else 0x10]) + field + part)


class Stream:
    def __init__(self, data):
        assert len(data) % SIZE == 0 and data[0] == 0x47
        self.packets = [Packet(data[at:at + SIZE]) for at in range(0, len(data), SIZE)]
        table = self._section(0)
        self.types, self.map = {}, (table[10] & 0x1F) << 8 | table[11]
        section = self._section(self.map)
        at = 12 + ((section[10] & 0xF) << 8 | section[11])
        while at < 3 + ((section[1] & 0xF) << 8 | section[2]) - 4:
            self.types.setdefault(section[at], (section[at + 1] & 0x1F) << 8 | section[at + 2])
            at += 5 + ((section[at + 3] & 0xF) << 8 | section[at + 4])

    def _section(self, pid):
        first = next(packet for packet in self.packets if packet.pid == pid and packet.starts)
        return first.data[first.payload + 1 + first.data[first.payload]:]

    def pid(self, types):
        return next(self.types[kind] for kind in types if kind in self.types)

    def pes(self, types):
        """The packets of each PES of a stream."""
        pid, found = self.pid(types), []
        for packet in self.packets:
            if packet.pid == pid and packet.starts:
                found.append([])
            if packet.pid == pid:
                found[-1].append(packet)
        return found

    def starts_of(self, types):
        return [pes[0] for pes in self.pes(types)]

    def payloads(self, types):
        """Times and data of each PES of a stream."""
        whole = [(pes[0], b"".join(packet.data[packet.payload:] for packet in pes)) for pes in self.pes(types)]
        return [(start.times(), data[9 + data[8]:]) for start, data in whole]

    def remove(self, lost):
        gone = set(lost)
        self.packets = [packet for packet in self.packets if packet not in gone]

    def keep(self, types, wanted):
        """Keeps the PES of a stream for whose number and times `wanted` holds."""
        self.remove(packet for number, pes in enumerate(self.pes(types)) if not wanted(number, pes[0].times())
                    for packet in pes)

    def thin_klv(self, every):
        """Leaves every so-manieth PES, or none with 0."""
        self.keep(KLV_TYPES, lambda number, _: every and number % every == 0)

    def shift_klv(self, ticks):
        for packet in self.starts_of(KLV_TYPES):
            packet.shift(ticks)

    def late_klv(self, pes):
        """Sends each packet of the KLV stream behind so many video PES more."""
        video, klv, seen, order = self.pid(VIDEO_TYPES), self.pid(KLV_TYPES), 0, []
        for packet in self.packets:
            seen += packet.pid == video and packet.starts
            order.append((seen + pes, 0) if packet.pid == klv else (seen, 1))
        self.packets = [packet for _, packet in sorted(zip(order, self.packets), key=lambda each: each[0])]

    def strip_klv(self):
        for packet in self.starts_of(KLV_TYPES):
            packet.strip()

    def name_klv(self, kind, tag):
        """Says in the program map that the KLV stream, which the recording has as type 0x06, is something else."""
        klv = self.pid(KLV_TYPES)
        for packet in self.packets:
            if packet.pid == self.map and packet.starts:
                at = packet.payload + 1
                end = at + 3 + ((packet.data[at + 1] & 0xF) << 8 | packet.data[at + 2]) - 4
                packet.data[packet.data.find(bytes([0x06, 0xE0 | klv >> 8, klv & 0xFF]))] = kind
                packet.data = packet.data.replace(b"KLVA", tag.encode())
                packet.data[end:end + 4] = crc(packet.data[at:end])

    def cell_klv(self):
        """Makes the KLV stream one of type 0x15: one cell a PES, but also two, one in two PES, two of more than 64 KiB.
        The stream ends with a cell."""
        self.name_klv(0x15, "KLVA")
        big, made = bytes(range(256)) * 240, {}
        for number, ([packet], (_, body)) in enumerate(zip(self.pes(KLV_TYPES), self.payloads(KLV_TYPES))):
            head = packet.data[packet.payload:-len(body)]
            odd = {10: [cell(10, 3, body) * 2], 20: [cell(20, 2, big), cell(21, 1, body)], 30: [cell(30, 3, big) * 2]}
            for data in odd.get(number, [cell(number, 3, body)]):
                size = len(head) - 6 + len(data)
                head[4:6] = (size if size < 65536 else 0).to_bytes(2, "big")
                made.setdefault(packet, []).extend(as_packets(packet.pid, bytes(head) + data))
        self.packets = [each for packet in self.packets for each in made.get(packet, [packet])]
        last = self.pes(KLV_TYPES)[-1]
        self.remove(last)
        self.packets += last

    def hide_stamps(self):
        for packet in self.packets:
            packet.data = packet.data.replace(b"MISPmicrosectime", b"NONEmicrosectime")

    def strip_video(self, keep_every, first=None):
        """Leaves every so-manieth video PES its times, or none with 0: of the first ones, or of all."""
        for number, packet in enumerate(self.starts_of(VIDEO_TYPES)[:first]):
            if keep_every == 0 or number % keep_every:
                packet.strip()

    def lose_video(self, first, end):
        self.keep(VIDEO_TYPES, lambda number, _: not first <= number < end)

    def behind_map(self):
        """Begins behind the first program map."""
        del self.packets[:next(at for at, packet in enumerate(self.packets) if packet.pid == self.map) + 1]

    def junk_klv(self):
        """Puts what is no packet behind the begin of a PES of KLV."""
        self.packets.insert(self.packets.index(self.starts_of(KLV_TYPES)[40]) + 1, Packet(bytes(SIZE)))

    def repeat_klv(self, times, ticks):
        """Sends each set so often, all but the first time so far ahead and each a tick farther."""
        klv = self.pid(KLV_TYPES)
        self.packets = [Packet(packet.data).shift(number and ticks + number) for packet in self.packets
                        for number in range(times if packet.pid == klv else 1)]

    def shift(self, ticks):
        for packet in self.packets:
            packet.shift(ticks)

    def seconds(self, first, last):
        """Keeps what is shown from one second to another."""
        begin = min(packet.times()[0] for packet in self.starts_of(VIDEO_TYPES))
        for types in (VIDEO_TYPES, KLV_TYPES):
            self.keep(types, lambda _, times: first <= (times[0] - begin) / 90000 < last)

    def join(self, file, marked=None):
        """Puts another stream behind this one; if it is marked, the other one says that its clock begins anew."""
        other = Stream(Path(file).read_bytes())
        if marked:
            next(packet for packet in other.packets if packet.has_clock()).data[5] |= 0x80
        self.packets += other.packets

    def bytes(self):
        """The packets of each stream counted without a gap."""
        counters = {}
        for packet in self.packets:
            if packet.data[3] & 0x10:
                counters[packet.pid] = (counters.get(packet.pid, 15) + 1) % 16
            packet.data[3] = packet.data[3] & 0xF0 | counters.get(packet.pid, 0)
        return b"".join(bytes(packet.data) for packet in self.packets)


def value(text):
    return int(text) if text.lstrip("-").isdigit() else text


def change(source, target, *operations):
    stream = Stream(Path(source).read_bytes())
    for operation in operations:
        name, given, values = operation.partition("=")
        getattr(stream, name.replace("-", "_"))(*map(value, values.split(":") if given else []))
    Path(target).write_bytes(stream.bytes())
    return target


if __name__ == "__main__":
    change(*sys.argv[1:])
