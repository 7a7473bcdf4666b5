"""The complete usage text, a user interface that must not change, including the lone parenthesis, the empty line after --error and
the jitter's "default=0."."""

USAGE = """\
usage: {} <options>

where options are

  -h, --help             show this help text and exit
  -v, --verbose          say more: -vv every frame and step, -vvv other records, too
  -d, --device=device    CAN device to be used.
  -r, --receive=file     receive CAN data and store binary to <file>
  -a, --answer           answer every incoming packet using a modified version of the incoming packet
  -s, --send=file        send <file> to CAN bus
  -f, --fd               CAN-FD mode
  -b, --brs              CAN-FD BRS (bit rate switch), automatically selects CAN-FD mode (-f/--fd))
  -p, --pattern          send a pattern with an incrementing counter to CAN bus
  -l, --loop=n           send the file or pattern <n> times, forever=0,
                         defaults are 1 (file) or 1024 (pattern)
  -c, --channel=channel  Channel to use, default=0
                         Only used for non network version.
  -i, --id=canID         set CAN ID to <id>, default=0x1
  -t, --time=time        time gap between CAN messages, default=100000\u00b5s.
                         If no unit prefix is specified \u00b5s are assumed.
                         For allowed prefixes see the SI.
                         Note: do not add the 's' for the seconds themselves.
  -j, --jitter=time      jitter time, default=0.
                         If no unit prefix is specified \u00b5s are assumed.
                         For allowed prefixes see the SI.
                         Note, do not add the 's' for the seconds themselves.
  -e, --error=num        error injection every num messages, default is off

  -y, --sync             Open output device in synced mode.

"""


def usage(name):
    return USAGE.format(name)
