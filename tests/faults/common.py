"""What the programs of this folder share."""

WRITER_OF_FILE = [("Automation_Summary.csv", "auto"), ("_phm.csv", "phm-csv"), ("_trace.csv", "int"),
                  ("_long.csv", "long"), ("_cells.csv", "long"), (".om", "openmetrics"), (".perfetto-trace", "perfetto"),
                  (".html", "html"), (".csv", "sum"), (".txt", "raw"), (".pwr", "vyrta"), (".ztjson", "json"), (".ztbin", "bin")]
# Their results go through the host's output handles, whose failures the host counts.
HANDLED = {"bin", "long", "openmetrics", "perfetto", "html"}


def writer_of(name):
    return next((writer for end, writer in WRITER_OF_FILE if name.endswith(end)), None)


def spilling_stream():
    """A stream whose over-time tables outgrow the memory that writers keep of them."""
    lines = ['{"def":"quantity","id":1,"kind":1,"name":"Count","units":"#"}',
             '{"def":"entity","id":1,"name":"Disk"}',
             '{"def":"descriptor","id":2,"name":"C0"}',
             '{"def":"metric","id":10,"name":"Requests","type":"SAMPLED_VALUE","group":"disk","quantity":1,"entities":[1]}',
             '{"def":"metric","id":11,"name":"Names","type":"SAMPLED_VALUE","group":"disk","entities":[1]}',
             '{"msg":"system","id":1,"tscMHz":1000,"cpuMHz":1000,"host":"h","topology":[[1,0,-1],[3,0,0],[4,0,1]]}']
    for i in range(1, 21000):
        lines.append(f'{{"msg":"metric","metric":10,"t":{i * 1000},"data":[{{"e":1,"d":2,"dur":1000,"v":{{"u":{i % 97}}}}}]}}')
    for i in range(1, 23):
        text = chr(96 + i) * 60000
        lines.append(f'{{"msg":"metric","metric":11,"t":{i * 1000},"data":[{{"e":1,"dur":1000,"v":{{"s":"{text}"}}}}]}}')
    return "\n".join(lines) + "\n"
