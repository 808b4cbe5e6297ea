#compdef esafailsafe
_arguments '--chassis=[enclosure to look after]:chassis:(vsc055 quadra xyratex chenbro w83782d none)' \
    '--seconds=[how long a bus that does not answer is tried again]:seconds:' \
    '--help[print help]' '--version[print the version]' '1:key of the parameter block:'
