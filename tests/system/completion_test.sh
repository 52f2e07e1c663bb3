# SPDX-License-Identifier: MIT
# The completion scripts, in the shells that they are for.
# shellcheck shell=bash

zolt=$NATIVE/zolt

# complete_in_bash WORD...: the words offered for the last one, sorted, in bash.out.
complete_in_bash() {
  "$zolt" completion bash >"$scratch/zolt.bash"
  run_program bash bash --norc -c '
    cd "$1" && shift && . ./zolt.bash || exit 1
    complete -p zolt >/dev/null || exit 1
    COMP_WORDS=(zolt "$@") COMP_CWORD=$#
    _zolt && printf "%s\n" "${COMPREPLY[@]}" | sort' bash "$scratch" "$@"
  expect_status 0
  expect_equal "$(cat "$scratch/bash.err")" "" "standard error"
}

# expect_words WORD... : exactly these came.
expect_words() { expect_equal "$(tr '\n' ' ' <"$scratch/$shell.out")" "$(printf '%s ' "$@")" "what $shell offers"; }

# commands_of: the commands that the help text names.
commands_of() { "$zolt" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p' | sort; }

test_bash_completes_commands_options_and_values() {
  shell=bash
  complete_in_bash ""
  # shellcheck disable=SC2046 # words
  expect_words $(commands_of)
  complete_in_bash re
  expect_words request
  complete_in_bash key ""
  expect_words check generate show
  complete_in_bash ping --t
  expect_words --tcp --timeout
  complete_in_bash --keylog ping tunnel --li
  expect_words --listen
  complete_in_bash key check --color ""
  expect_words always auto never
  complete_in_bash completion z
  expect_words zsh
  complete_in_bash ping --timeout ""
  expect_words ""
  touch "$scratch/my key.pem" "$scratch/my.pcap"
  complete_in_bash ping 192.0.2.7 --key my
  expect_words "my key.pem" my.pcap
  complete_in_bash decode my.p
  expect_words my.pcap
}

test_bash_knows_every_option_that_the_help_names() {
  shell=bash
  local command option
  for command in "" ping request tunnel decode completion "key generate" "key show" "key check"; do
    # shellcheck disable=SC2086 # words
    complete_in_bash $command --
    for option in $("$zolt" $command --help | sed '/^Examples:/,$d' | grep -oE '^  (-[a-zA-Z],)?--[a-z-]+' | grep -oE -- '--[a-z-]+'); do
      grep -qxF -- "$option" "$scratch/bash.out" || fail "bash does not offer $option of 'zolt $command'"
    done
    [ -s "$scratch/bash.out" ] || fail "bash offers nothing for 'zolt $command'"
  done
  # What is for tests only is hidden in the help, too.
  complete_in_bash tunnel --
  expect_not renew bash.out
}

test_zsh_completes() {
  command -v zsh >/dev/null || skip "there is no zsh"
  mkdir "$scratch/zfunc"
  "$zolt" completion zsh >"$scratch/zfunc/_zolt"
  zsh -n "$scratch/zfunc/_zolt" || fail "zsh finds the script faulty"
  # A terminal of its own, in which the key for completion is pressed.
  cat >"$scratch/drive.zsh" <<'END'
zmodload zsh/zpty
zpty shell zsh -f -i
zpty -w shell "PROMPT= ; fpath=($1 \$fpath); autoload -Uz compinit; compinit -u -D; zstyle ':completion:*' list-colors; LISTMAX=1000; stty rows 100 columns 200; print rea''dy"
zpty -r -m shell out '*ready*'
zpty -w -n shell "zolt $2"$'\t\t'
zpty -r -m shell out "*$3*" && print -- found "$3"
zpty -d shell
END
  local line
  for line in "pin:ping" "key :generate" "ping --ti:--timeout" "key check --color n:never" "completion f:fish"; do
    run_program zsh timeout 20 zsh -f "$scratch/drive.zsh" "$scratch/zfunc" "${line%%:*}" "${line#*:}"
    expect "found ${line#*:}" zsh.out
  done
}

test_fish_completes() {
  command -v fish >/dev/null || skip "there is no fish"
  shell=fish
  mkdir -p "$scratch/home"
  "$zolt" completion fish >"$scratch/zolt.fish"
  fish --no-execute "$scratch/zolt.fish" || fail "fish finds the script faulty"
  offered() {
    HOME=$scratch/home XDG_CONFIG_HOME=$scratch/home XDG_DATA_HOME=$scratch/home run_program fish \
      fish --no-config -c "source $scratch/zolt.fish; complete -C '$1'"
    expect_status 0
    cut -f1 "$scratch/fish.out" | sort >"$scratch/fish.words" && mv "$scratch/fish.words" "$scratch/fish.out"
  }
  offered "zolt "
  # shellcheck disable=SC2046 # words
  expect_words $(commands_of)
  offered "zolt key "
  expect_words check generate show
  offered "zolt --keylog key ping --t"
  expect_words --tcp --timeout
  offered "zolt ping --color "
  expect_words always auto never
}

test_the_scripts_are_installed_where_the_shells_look() {
  [ "$BUILD" = "$NATIVE" ] || skip "a cross build installs no tools"
  run_program install cmake --install "$BUILD" --prefix "$scratch/root"
  expect_status 0
  local file
  for file in bash-completion/completions/zolt zsh/site-functions/_zolt fish/vendor_completions.d/zolt.fish; do
    [ -s "$scratch/root/share/$file" ] || fail "share/$file is not installed"
  done
  cmp <("$zolt" completion bash) "$scratch/root/share/bash-completion/completions/zolt" || fail "an older script is installed"
}
