# shellcheck shell=bash
# The samples of the README, for tests that do what a reader does. Sourced.

# readme_sample README LANGUAGE: prints the README's one block of that language.
readme_sample() {
  if [[ $(grep -c "^\`\`\`$2\$" "$1") != 1 ]]; then
    echo "$(basename "$0"): not exactly one $2 block in $1" >&2
    return 1
  fi
  awk -v begin="\`\`\`$2" '$0 == "```" { inside = 0 } inside { print } $0 == begin { inside = 1 }' "$1"
}

# readme_project README: prints a CMakeLists.txt around the README's lines for CMake.
readme_project() {
  echo 'cmake_minimum_required(VERSION 3.18)'
  echo 'project(demo LANGUAGES CXX)'
  echo 'add_executable(demo main.cpp)'
  readme_sample "$1" cmake
}

# readme_line README: prints how the line ends that the sample writes.
readme_line() {
  grep -oE '\[INFO\] \[main\.cpp:[0-9]+\] \[main\]: .*' "$1"
}
