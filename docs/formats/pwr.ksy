# The machine-readable form of pwr.md: a Kaitai Struct description.
meta:
  id: pwr
  title: Import trace of over-time data for a visualiser
  file-extension: pwr
  endian: le
doc: |
  A file is records and nothing else. The header block defines every id and ends with the second magic record;
  behind it each metric has one block. See pwr.md.
seq:
  - id: records
    type: record
    repeat: eos
types:
  record:
    seq:
      - id: head
        type: u4
        enum: head
      - id: body
        type:
          switch-on: head
          cases:
            'head::magic': magic
            'head::marker': head_marker
            'head::untimed': untimed
            'head::timed': timed
            'head::wakelock': wakelock
            'head::process': process
            'head::thread': thread
  magic:
    seq:
      - contents: [0xfa, 0xde, 0xde, 0xad]
  head_marker:
    seq:
      - id: constant
        contents: [0x20, 0, 0, 2, 2]
      - id: start
        type: u8
        doc: TSC ticks, like all times
      - id: start_time
        type: u8
        doc: in units of 100 ns, the collector's clock value in ns (of pwrhost since 1970 in UTC) divided by 100
  untimed:
    seq:
      - id: length
        type: u2
      - id: type
        type: u2
        enum: untimed_type
      - id: payload
        size: length - 4
        type:
          switch-on: type
          cases:
            'untimed_type::collection_info': collection_info
            'untimed_type::system_info': system_info
            'untimed_type::hardware_configuration': hardware_configuration
            'untimed_type::power_threshold': power_threshold
  collection_info:
    seq:
      - id: one
        contents: [1, 0, 0, 0]
      - id: major
        type: u2
      - id: minor
        type: u2
      - id: update
        type: u4
      - id: constant
        contents: [0, 0, 0, 0, 0, 8, 0, 0]
      - id: len_name
        type: u1
      - id: name
        size: len_name
  counted_text:
    seq:
      - id: len_text
        type: u2
        doc: with the NUL
      - id: text
        size: len_text - 1
      - contents: [0]
  system_info:
    seq:
      - id: one
        contents: [1, 0, 0, 0]
      - id: os_code
        type: u2
      - id: os_version
        type: u2
        repeat: expr
        repeat-expr: 4
      - id: host
        type: counted_text
      - id: platform
        type: counted_text
      - id: os_name
        type: counted_text
      - id: empty
        type: counted_text
  hardware_configuration:
    seq:
      - id: one
        contents: [1, 0, 0, 0]
      - id: tsc_frequency
        type: u8
        doc: Hz
      - id: cpu_frequency
        type: u8
        doc: Hz, the TSC frequency again
      - id: highest_address
        type: u8
      - id: pointer_bits
        type: u1
      - id: cpu
        type: u1
        repeat: expr
        repeat-expr: 3
      - id: num_threads
        type: u4
      - id: threads
        type: hardware_thread
        repeat: expr
        repeat-expr: num_threads
  hardware_thread:
    seq:
      - contents: [0]
      - id: package
        type: u1
      - id: core
        type: u1
      - id: thread
        type: u1
  power_threshold:
    seq:
      - id: one
        contents: [1, 0, 0, 0]
      - id: twelve
        contents: [12, 0]
      - id: zeros
        size: 48
      - id: cpu_frequency
        type: u4
        doc: MHz
  timed:
    seq:
      - id: tsc
        type: u8
        doc: 0 in metadata
      - id: length
        type: u2
      - id: type
        type: u2
        enum: timed_type
      - id: payload
        size: length - 4
        type:
          switch-on: type
          cases:
            'timed_type::sample': sample
            'timed_type::metadata': metadata
            'timed_type::package': package
  sample:
    seq:
      - id: subtype
        contents: [6, 0]
      - id: version
        type: u2
      - id: num_attributes
        type: u2
      - id: attributes
        type: attribute
        repeat: expr
        repeat-expr: num_attributes
  attribute:
    seq:
      - id: kind
        type: u4
        enum: attribute_kind
      - id: value
        type: u8
    instances:
      value_signed:
        value: 'value > 0x7fffffffffffffff ? value - 0xffffffffffffffff - 1 : value'
        doc: for INT and its bounds
  metadata:
    seq:
      - id: subtype
        type: u2
        enum: metadata_type
      - id: version
        type: u2
      - id: body
        size-eos: true
        type:
          switch-on: subtype
          cases:
            'metadata_type::info': info
            'metadata_type::metric': metric
  info:
    seq:
      - id: type_id
        type: u4
      - id: value
        type: u4
      - id: parent
        type: u4
        doc: all ones for none
      - id: id
        type: u4
      - id: len_name
        type: u2
      - id: len_short_name
        type: u2
      - id: len_type_name
        type: u2
      - id: len_description
        type: u2
      - id: name
        size: len_name
      - id: short_name
        size: len_short_name
      - id: type_name
        size: len_type_name
      - id: description
        size: len_description
      - contents: [0]
  metric:
    seq:
      - id: metric_class
        type: u4
      - id: id
        type: u4
      - id: quantity
        type: u4
        doc: all ones for none
      - id: tab_group
        type: u4
      - id: timeline_group
        type: u4
      - id: len_name
        type: u2
      - id: len_display_name
        type: u2
      - id: name
        size: len_name
      - id: display_name
        size: len_display_name
      - contents: [0]
  package:
    seq:
      - id: uid
        type: u4
      - id: name
        type: counted_text
  wakelock:
    seq:
      - id: tid
        type: u4
      - id: pid
        type: u4
      - id: tsc
        type: u8
      - id: length
        type: u2
      - id: type
        type: u2
        enum: wakelock_kind
      - id: payload
        size: length - 4
        type:
          switch-on: type
          cases:
            'wakelock_kind::kernel': kernel_wakelock
            'wakelock_kind::user': user_wakelock
  kernel_wakelock:
    seq:
      - id: type
        type: u1
        enum: wakelock_type
      - id: expires
        type: u8
        doc: 0 for none
      - id: name
        type: counted_text
  user_wakelock:
    seq:
      - id: type
        type: u1
        enum: wakelock_type
      - id: flag
        type: u1
        enum: wakelock_flag
      - id: uid
        type: u4
      - id: reserved
        contents: [0, 0, 0, 0]
      - id: name
        type: counted_text
  process:
    seq:
      - id: mark
        contents: [0, 0x10, 0, 0, 0, 0, 0, 0]
      - id: pid
        type: u4
      - contents: [0, 0, 0, 0]
      - id: tsc
        type: u8
      - id: length
        type: u2
      - contents: [0, 0]
      - id: path
        size: length - 5
      - contents: [0]
  thread:
    seq:
      - id: event
        type: u4
        enum: thread_event
      - contents: [0, 0, 0, 0]
      - id: pid
        type: u4
      - id: tid
        type: u4
      - id: tsc
        type: u8
enums:
  head:
    0x08000000: magic
    0x22000020: marker
    0x02400000: untimed
    0x02400010: timed
    0x02400018: wakelock
    0x0240001d: process
    0x0200001d: thread
  untimed_type:
    18: hardware_configuration
    44: collection_info
    45: system_info
    63: power_threshold
  timed_type:
    0x44: package
    0x47: sample
    0x48: metadata
  metadata_type:
    7: info
    8: metric
  wakelock_kind:
    64: kernel
    67: user
  wakelock_type:
    0: wake_lock
    1: wake_unlock
    2: wake_lock_timeout
    3: wake_lock_initial
    4: wake_unlock_all
  wakelock_flag:
    0: wake_partial
    1: wake_full
    2: wake_screen_dim
    3: wake_screen_bright
    4: wake_proximity_screen_off
  thread_event:
    0x1000: start
    0x2000: end
  attribute_kind:
    0: metric
    1: entity
    2: field
    3: process
    4: thread
    5: call_stack_frame
    6: quantity
    7: color
    8: info
    9: int
    10: uint
    11: real
    12: int_lower_bound
    13: int_upper_bound
    14: uint_lower_bound
    15: uint_upper_bound
    16: real_lower_bound
    17: real_upper_bound
    18: duration
