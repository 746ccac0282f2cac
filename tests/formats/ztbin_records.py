"""The records of .ztbin files, as their description parses them, in the shape of the decoder's."""
from check_format import Single, text_of

HEAD_LENGTH = 3


class Run:
    """The tables of a run, which last from file to file."""

    def __init__(self):
        self.strings, self.descriptors, self.metrics = {}, {}, {}

    def descriptor(self, index):
        return {"index": index, **self.descriptors[index]} if index else None

    def string_store(self, p):
        self.strings[p.index] = text_of(p.text)
        return {"index": p.index, "text": self.strings[p.index]}

    def system_meta(self, p):
        name = self.strings.__getitem__
        return {
            "start": p.start, "stop": p.stop, "durationSec": Single(p.duration),
            "hfmMHz": Single(p.hfm_frequency), "lfmMHz": Single(p.lfm_frequency),
            "cpuMHz": Single(p.cpu_frequency), "busMHz": Single(p.bus_frequency), "platformId": p.platform_id,
            "platform": name(p.platform_name), "cpu": name(p.cpu_name), "cpuNative": name(p.cpu_native_name),
            "pch": name(p.pch_name), "host": name(p.host_name), "packages": p.num_packages,
            "modules": p.num_modules, "cores": p.num_cores, "threads": p.num_threads,
            "osType": name(p.os_type), "osName": name(p.os_name), "osNameAgain": name(p.os_name_again),
        }

    def descriptor_meta(self, p):
        self.descriptors[p.index] = {"state": self.strings[p.state], "name": self.strings[p.name]}
        return self.descriptor(p.index)

    def metric_meta(self, p):
        self.metrics[p.id] = self.strings[p.name]
        return {
            "metric": p.id, "group": self.strings[p.group], "name": self.strings[p.name],
            "type": self.strings[p.type_name], "quantity": self.strings.get(p.quantity_name),
            "units": self.strings.get(p.units), "hasQuantity": p.has_quantity,
            "attributes": [{"name": self.strings[a.name], "descriptor": self.descriptor(a.descriptor)}
                           for a in p.attributes],
            "legend": [self.strings[index] for index in p.legend_values],
        }

    def metric_data(self, p):
        return {"t": p.timestamp, "duration": Single(p.duration), "metric": p.metric_id,
                "metricName": self.metrics[p.metric_id], "name": self.strings[p.name],
                "descriptor": self.descriptor(p.descriptor), "value": Single(p.value)}


def records(parsed):
    run = Run()
    for file in parsed:
        offset = 0
        for record in file.records:
            type_name = record.msg_type.name
            if offset == 0 and type_name == "string_store" and record.payload.index == 1:
                run = Run()
            if not record.payload._io.is_eof():
                raise ValueError(f"record at offset {offset} has bytes that the description does not know")
            yield {"offset": offset, "record": type_name.title().replace("_", ""),
                   **getattr(run, type_name)(record.payload)}
            offset += HEAD_LENGTH + record.len_payload
