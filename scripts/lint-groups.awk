# Reads a list of files and then the presets' lists of compile commands, and puts together what clang-tidy looks at at
# once: for each folder and set of options a file that includes the folder's sources, with a list of compile commands of
# its own. The first preset that builds a file says how. Prints the folders that it made.
function root_of(path) { return substr(path, 1, match(path, "/build/[^/]*$") - 1) }
FILENAME == "-" { wanted[$0] = 1; next }
/"directory":/ { split($0, quoted, "\""); folder = quoted[4]; root = root_of(folder) }
/"command":/ {
  command = $0
  sub(/^ *"command": "/, "", command)
  sub(/",$/, "", command)
  file = command
  sub(/.* -c /, "", file)
  name = substr(file, length(root) + 2)
  if (!(name in wanted)) next
  delete wanted[name]
  sub(/ -o [^ ]* -c [^ ]*$/, "", command)
  place = name
  sub("/[^/]*$", "", place)
  key = place SUBSEP command
  if (!(key in group)) {
    group[key] = "build/lint/groups/" place "/" ++count[place]
    system("mkdir -p " group[key])
    top = place
    sub("/.*", "", top)
    # Where a folder has rules of its own, they hold for what includes its files.
    system("[ ! -f " top "/.clang-tidy ] || cp " top "/.clang-tidy " group[key])
    # The analyzer passes over what a file includes unless the file is called so.
    unified = root "/" group[key] "/UnifiedSource.cpp"
    printf "[{\"directory\": \"%s\", \"command\": \"%s -c %s\", \"file\": \"%s\"}]\n", folder, command, unified,
      unified > (group[key] "/compile_commands.json")
    print group[key]
  }
  print "#include \"" file "\"" > (group[key] "/UnifiedSource.cpp")
}
