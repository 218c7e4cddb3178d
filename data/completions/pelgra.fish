# Completion of pelgra(1) for fish.
set -l commands convert create merge split organize targets wheel
complete -c pelgra -n "not __fish_seen_subcommand_from $commands" -f
complete -c pelgra -n "not __fish_seen_subcommand_from $commands" -a convert -d "Convert each file"
complete -c pelgra -n "not __fish_seen_subcommand_from $commands" -a create -d "One PDF with a page for each image"
complete -c pelgra -n "not __fish_seen_subcommand_from $commands" -a merge -d "One PDF of all the PDFs"
complete -c pelgra -n "not __fish_seen_subcommand_from $commands" -a split -d "A folder with a PDF for each page"
complete -c pelgra -n "not __fish_seen_subcommand_from $commands" -a organize -d "A PDF of the listed pages"
complete -c pelgra -n "not __fish_seen_subcommand_from $commands" -a targets -d "Which conversions and tools the files allow"
complete -c pelgra -n "not __fish_seen_subcommand_from $commands" -a wheel -d "Start the desktop program"
complete -c pelgra -n "__fish_seen_subcommand_from convert" -l to -x -a "jpg png heic tiff bmp pdf txt md" -d "Format"
complete -c pelgra -n "__fish_seen_subcommand_from convert" -l jpeg-quality -x -d "Quality from 0 to 1"
complete -c pelgra -n "__fish_seen_subcommand_from convert" -l heic-quality -x -d "Quality from 0 to 1"
complete -c pelgra -n "__fish_seen_subcommand_from convert" -l dpi -x -d "Resolution of page images"
complete -c pelgra -n "__fish_seen_subcommand_from organize" -l pages -x -d "Pages such as 3,1-2,1:90"
complete -c pelgra -n "__fish_seen_subcommand_from organize" -l uniform-width -d "Scale wider pages down"
complete -c pelgra -l json -d "One JSON object for each result"
complete -c pelgra -l help -d "Show the help"
complete -c pelgra -l version -d "Show the version"
