# fish completion for esactl

set -l commands status config led fan psu alarm events history watch raw page bundle decode

complete -c esactl -f
complete -c esactl -l directory -r -a '(__fish_complete_directories)' -d 'Directory of the switch sockets'
complete -c esactl -l timeout -x -d 'Seconds to wait for an answer'
complete -c esactl -l json -d 'Print JSON'
complete -c esactl -n "not __fish_seen_subcommand_from $commands" -a status -d 'State of the enclosure'
complete -c esactl -n "not __fish_seen_subcommand_from $commands" -a config -d 'What the enclosure consists of'
complete -c esactl -n "not __fish_seen_subcommand_from $commands" -a led -d 'Switch drive fault LEDs'
complete -c esactl -n "not __fish_seen_subcommand_from $commands" -a fan -d 'Switch a fan on or off'
complete -c esactl -n "not __fish_seen_subcommand_from $commands" -a psu -d 'Switch a supply fault indication'
complete -c esactl -n "not __fish_seen_subcommand_from $commands" -a alarm -d 'Silence or sound the alarm'
complete -c esactl -n "not __fish_seen_subcommand_from $commands" -a events -d 'Events as they come'
complete -c esactl -n "not __fish_seen_subcommand_from $commands" -a watch -d 'Live view'
complete -c esactl -n "not __fish_seen_subcommand_from $commands" -a raw -d 'Pages as bytes'
complete -c esactl -n "not __fish_seen_subcommand_from $commands" -a history -d 'Readings over time'
complete -c esactl -n "not __fish_seen_subcommand_from $commands" -a page -d 'A page as hex'
complete -c esactl -n "not __fish_seen_subcommand_from $commands" -a bundle -d 'One file for a trouble report'
complete -c esactl -n "not __fish_seen_subcommand_from $commands" -a decode -d 'Logs in words'
complete -c esactl -n '__fish_seen_subcommand_from events history' -l since -x
complete -c esactl -n '__fish_seen_subcommand_from events history' -l until -x
complete -c esactl -n '__fish_seen_subcommand_from events' -l element -x
complete -c esactl -n '__fish_seen_subcommand_from events' -l type -x
complete -c esactl -n '__fish_seen_subcommand_from events history bundle' -l monitor -r -F
complete -c esactl -n '__fish_seen_subcommand_from history' -l plot
complete -c esactl -n '__fish_seen_subcommand_from page' -a '1 2'
complete -c esactl -n '__fish_seen_subcommand_from page' -l standard
complete -c esactl -n '__fish_seen_subcommand_from page bundle' -l output -r -F
complete -c esactl -n '__fish_seen_subcommand_from bundle' -l log-directory -x -a '(__fish_complete_directories)'
complete -c esactl -n '__fish_seen_subcommand_from bundle' -l key -x
complete -c esactl -n '__fish_seen_subcommand_from decode' -F
complete -c esactl -n '__fish_seen_subcommand_from status' -l format -x -a 'text json prometheus'
complete -c esactl -n '__fish_seen_subcommand_from status' -l output -r -F
complete -c esactl -n '__fish_seen_subcommand_from led' -a 'all (printf "slot%02d\n" (seq 0 15)) on off'
complete -c esactl -n '__fish_seen_subcommand_from led' -l force -d 'Even where it is taken for done'
complete -c esactl -n '__fish_seen_subcommand_from fan' -a '(printf "fan%d\n" (seq 0 7)) on off'
complete -c esactl -n '__fish_seen_subcommand_from psu' -a 'psu0 psu1 psu2 fail ok'
complete -c esactl -n '__fish_seen_subcommand_from alarm' -a 'mute fault critical'
complete -c esactl -n '__fish_seen_subcommand_from events' -l follow -d 'Go on until interrupted'
complete -c esactl -n '__fish_seen_subcommand_from events' -l startup -d 'Requests to Startup too'
complete -c esactl -n '__fish_seen_subcommand_from events watch' -l all -d 'Repeats too'
complete -c esactl -n '__fish_seen_subcommand_from events watch' -l count -x
complete -c esactl -n '__fish_seen_subcommand_from watch' -l interval -x
complete -c esactl -n '__fish_seen_subcommand_from raw' -l page -x -a '1 2'
