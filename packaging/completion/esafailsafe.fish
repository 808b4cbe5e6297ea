# fish completion for esafailsafe
complete -c esafailsafe -f
complete -c esafailsafe -l chassis -x -a 'vsc055 quadra xyratex chenbro w83782d none' -d 'Enclosure to look after'
complete -c esafailsafe -l seconds -x -d 'How long a bus that does not answer is tried again'
complete -c esafailsafe -l help -d 'Print help'
complete -c esafailsafe -l version -d 'Print the version'
