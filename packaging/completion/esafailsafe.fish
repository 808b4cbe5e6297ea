# fish completion for esafailsafe
complete -c esafailsafe -f
complete -c esafailsafe -l chassis -x -a '@CHASSIS_NAMES@ none' -d 'Enclosure to look after'
complete -c esafailsafe -l seconds -x -d 'How long a bus that does not answer is tried again'
complete -c esafailsafe -l prepare -d 'Before the adapter starts: put out LEDs, remember the chassis'
complete -c esafailsafe -l watch -x -d 'Beside an adapter of this process id: full speed when the bus answers later'
complete -c esafailsafe -l help -d 'Print help'
complete -c esafailsafe -l version -d 'Print the version'
