"""The records of .pwr files, as their description parses them, in the shape of the decoder's."""
import struct

from check_format import text_of

NO_ID = 0xFFFFFFFF
NAMED = {"metric": "metric", "entity": "entity", "field": "field", "process": "process", "thread": "thread",
         "quantity": "quantity", "color": "color", "info": "nameid_attribute"}
PARENTS = {"timeline_group": "tab_group", "quantity": "quantity", "entity": "entity"}


def camel(name):
    first, *rest = name.split("_")
    return first + "".join(word.title() for word in rest)


def length_of(record):
    body = record.body
    at = {"untimed": 4, "timed": 12, "wakelock": 20, "process": 28}.get(record.head.name)
    return {"magic": 8, "marker": 25, "thread": 28}[record.head.name] if at is None else at + body.length


class File:
    def __init__(self, records):
        self.names = {}
        processes = [r.body for r in records if r.head.name == "process"]
        starts = processes[:(len(processes) + 1) // 2]
        self.ends = {id(body) for body in processes[len(starts):]}
        self.processes = sorted(((b.tsc, b.pid, text_of(b.path)) for b in starts), key=lambda life: life[0])
        self.threads = sorted(((r.body.tsc, r.body.tid, r.body.pid) for r in records
                               if r.head.name == "thread" and r.body.event.name == "start"), key=lambda life: life[0])

    @staticmethod
    def life(lives, number, tsc):
        """What had the number at that time: the last that had begun, or the first."""
        lives = [life for life in lives if life[1] == number]
        return next((life for life in reversed(lives) if life[0] <= tsc), lives[0] if lives else None)

    def process_at(self, pid, tsc):
        life = self.life(self.processes, pid, tsc)
        return life and life[2]

    def thread_at(self, tid, tsc):
        life = self.life(self.threads, tid, tsc)
        return life and self.process_at(life[2], life[0])

    def name(self, kind, number):
        return self.names.get((kind, number & NO_ID))

    def named(self, kind, number):
        return None if number == NO_ID else {"id": number, "name": self.name(kind, number)}

    def magic(self, b):
        return {"record": "Magic"}

    def marker(self, b):
        return {"record": "HeadMarker", "start": b.start, "time": b.start_time}

    def untimed(self, b):
        return getattr(self, b.type.name)(b.payload)

    def timed(self, b):
        return getattr(self, b.type.name)(b.payload, b.tsc)

    def wakelock(self, b):
        p = b.payload
        kind = b.type.name
        fields = {"record": kind.title() + "Wakelock", "t": b.tsc, "tid": b.tid, "pid": b.pid, "type": camel(p.type.name)}
        if kind == "kernel":
            fields["expires"] = p.expires
        else:
            # A flag without a name shows as its number.
            flag = camel(p.flag.name) if hasattr(p.flag, "name") else p.flag
            fields.update(flag=flag, uid=p.uid, package=self.name("package", p.uid))
        return {**fields, "name": text_of(p.name.text)}

    def collection_info(self, p):
        return {"record": "CollectionInfo", "major": p.major, "minor": p.minor, "update": p.update, "name": text_of(p.name)}

    def system_info(self, p):
        return {"record": "SystemInfo", "osCode": p.os_code, "osVersion": p.os_version, "host": text_of(p.host.text),
                "platform": text_of(p.platform.text), "osName": text_of(p.os_name.text)}

    def hardware_configuration(self, p):
        return {"record": "HardwareConfiguration", "tscHz": p.tsc_frequency, "cpuHz": p.cpu_frequency,
                "highestAddress": p.highest_address, "pointerBits": p.pointer_bits, "cpu": p.cpu,
                "threads": [{"package": t.package, "core": t.core, "thread": t.thread} for t in p.threads]}

    def power_threshold(self, p):
        return {"record": "PowerThreshold", "cpuMHz": p.cpu_frequency}

    def metadata(self, p, tsc):
        return {**getattr(self, p.subtype.name)(p.body), "version": p.version}

    def info(self, p):
        kind, name = text_of(p.type_name), text_of(p.name)
        fields = {"record": "Info", "type": kind, "typeId": p.type_id, "id": p.id, "value": p.value,
                  "parent": self.named(PARENTS.get(kind), p.parent), "name": name, "shortName": text_of(p.short_name),
                  "description": text_of(p.description)}
        self.names[kind, p.id] = name
        if kind == "metric_type":
            self.names["class", p.value] = name
        return fields

    def metric(self, p):
        self.names["metric", p.id] = text_of(p.name)
        return {"record": "Metric", "metric": p.id, "name": text_of(p.name), "displayName": text_of(p.display_name),
                "class": p.metric_class, "className": self.name("class", p.metric_class),
                "quantity": self.named("quantity", p.quantity), "tabGroup": self.named("tab_group", p.tab_group),
                "timelineGroup": self.named("timeline_group", p.timeline_group)}

    def attribute(self, a, tsc, version):
        kind = a.kind.name
        value = a.value
        if kind.startswith("int"):
            value = a.value_signed
        elif kind.startswith("real") and version == 2:
            value = struct.unpack("<d", struct.pack("<Q", value))[0]
        fields = {"type": kind.upper(), "value": value}
        if kind in NAMED:
            at = {"process": self.process_at, "thread": self.thread_at}.get(kind)
            fields["name"] = at(a.value & NO_ID, tsc) if at else self.name(NAMED[kind], a.value)
        return fields

    def sample(self, p, tsc):
        return {"record": "Sample", "t": tsc, "version": p.version,
                "attributes": [self.attribute(a, tsc, p.version) for a in p.attributes]}

    def package(self, p, tsc):
        self.names["package", p.uid] = text_of(p.name.text)
        return {"record": "Package", "t": tsc, "uid": p.uid, "name": text_of(p.name.text)}

    def process(self, b):
        return {"record": "Process", "t": b.tsc, "event": "end" if id(b) in self.ends else "start", "pid": b.pid,
                "path": text_of(b.path)}

    def thread(self, b):
        event = b.event.name
        path = self.process_at(b.pid, b.tsc) if event == "start" else self.thread_at(b.tid, b.tsc)
        return {"record": "Thread", "t": b.tsc, "event": event, "pid": b.pid, "tid": b.tid, "path": path}


def records(parsed):
    for file in parsed:
        state = File(file.records)
        offset = 0
        for record in file.records:
            payload = getattr(record.body, "payload", None)
            if payload is not None and not payload._io.is_eof():
                raise ValueError(f"record at offset {offset} has bytes that the description does not know")
            yield {"offset": offset, **getattr(state, record.head.name)(record.body)}
            offset += length_of(record)
