# The machine-readable form of ztbin.md: a Kaitai Struct description.
meta:
  id: ztbin
  title: Compact binary trace of over-time data
  file-extension: ztbin
  endian: le
doc: |
  A file is records and nothing else, grouped by type in ascending order. Strings, descriptors and metrics are
  defined once and referred to by index or id, in a continuous run also from the files behind the one that
  defines them. See ztbin.md.
seq:
  - id: records
    type: record
    repeat: eos
types:
  record:
    seq:
      - id: len_payload
        type: u2
      - id: msg_type
        type: u1
        enum: msg_type
      - id: payload
        size: len_payload
        type:
          switch-on: msg_type
          cases:
            'msg_type::string_store': string_store
            'msg_type::system_meta': system_meta
            'msg_type::descriptor_meta': descriptor_meta
            'msg_type::metric_meta': metric_meta
            'msg_type::metric_data': metric_data
  string_store:
    seq:
      - id: index
        type: u2
      - id: len_text
        type: u2
      - id: text
        size: len_text
        doc: Mostly UTF-8, but any bytes can come.
  system_meta:
    seq:
      - id: start
        type: u8
        doc: TSC ticks
      - id: stop
        type: u8
        doc: TSC ticks
      - id: duration
        type: f4
        doc: seconds
      - id: hfm_frequency
        type: f4
        doc: MHz, like the other frequencies
      - id: lfm_frequency
        type: f4
      - id: cpu_frequency
        type: f4
      - id: bus_frequency
        type: f4
      - id: platform_id
        type: u4
      - id: platform_name
        type: u2
        doc: string index, like the other names
      - id: cpu_name
        type: u2
      - id: cpu_native_name
        type: u2
      - id: pch_name
        type: u2
      - id: host_name
        type: u2
      - id: num_packages
        type: u2
      - id: num_modules
        type: u2
      - id: num_cores
        type: u2
      - id: num_threads
        type: u2
      - id: os_type
        type: u2
      - id: os_name
        type: u2
      - id: os_name_again
        type: u2
  descriptor_meta:
    seq:
      - id: index
        type: u2
      - id: state
        type: u2
        doc: string index of the state's value
      - id: name
        type: u2
        doc: string index
  metric_meta:
    seq:
      - id: id
        type: u4
      - id: group
        type: u2
        doc: string index, like the names below
      - id: name
        type: u2
      - id: type_name
        type: u2
      - id: quantity_name
        type: u2
        doc: means nothing for a metric without a quantity, like the next two fields
      - id: units
        type: u2
      - id: has_quantity
        type: u2
      - id: num_attributes
        type: u2
      - id: num_legend_values
        type: u2
      - id: attributes
        type: attribute
        repeat: expr
        repeat-expr: num_attributes
      - id: legend_values
        type: u2
        doc: string index of the value's text
        repeat: expr
        repeat-expr: num_legend_values
  attribute:
    seq:
      - id: name
        type: u2
        doc: string index
      - id: descriptor
        type: u2
        doc: descriptor index, 0 for none
  metric_data:
    seq:
      - id: timestamp
        type: u8
        doc: TSC ticks
      - id: duration
        type: f4
        doc: whole microseconds
      - id: metric_id
        type: u4
      - id: name
        type: u2
        doc: string index of the state in delta metrics, else of the entity
      - id: descriptor
        type: u2
        doc: descriptor index, 0 for none
      - id: value
        type: f4
enums:
  msg_type:
    0: string_store
    1: system_meta
    2: descriptor_meta
    3: metric_meta
    4: metric_data
