#compdef esafailsafe
_arguments '--chassis=[enclosure to look after]:chassis:(@CHASSIS_NAMES@ none)' \
    '--seconds=[how long a bus that does not answer is tried again]:seconds:' \
    '--prepare[before the adapter starts: put out LEDs, remember the chassis]' \
    '--watch=[beside an adapter: full speed when the bus answers later]:process id:_pids' \
    '--help[print help]' '--version[print the version]' '1:key of the parameter block:'
