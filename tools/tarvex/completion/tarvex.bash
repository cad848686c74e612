# Completion of tarvex for bash.

# Labels are other people's words: they are quoted, and never expanded. No passphrase is asked for.
_tarvex_labels() {
  local label
  while IFS= read -r label; do
    [[ $label == "$1"* ]] && COMPREPLY+=("$(printf %q "$label")")
  done < <(tarvex "${folder[@]}" --passphrase-file /dev/null key list 2>/dev/null | cut -f1)
}

_tarvex_files() {
  compopt -o filenames 2>/dev/null
  mapfile -t COMPREPLY < <(compgen "$1" -- "$2")
}

# Sets `path` to the words before the cursor that are no options and no values of options, and
# `folder` to the option that names the keychain.
_tarvex_read_line() {
  local argument option=""
  for argument in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    if [[ $argument == "=" ]]; then continue; fi
    if [[ $option == --keychain-dir ]]; then folder=("$option" "${argument/#\~\//$HOME/}"); fi
    if [[ $option ]]; then option=""; continue; fi
    case $argument in
      --json | --ignore-expiry | --batch | --help | --version | -h | -) ;;
      -*) option=$argument ;;
      *) path+="${path:+ }$argument" ;;
    esac
  done
}

_tarvex() {
  local word=$2 before=$3 path="" words folder=()
  _tarvex_read_line
  case $before in
    --public-key | --passphrase-file | --new-passphrase-file) _tarvex_files -f "$word"; return ;;
    --keychain-dir) _tarvex_files -d "$word"; return ;;
    --team-prefix | --identifier | --user) return ;;
    --sub | --exp | --expires-in | --scope | --priv | --typ | --alg) return ;;
    --format) words="pem jwk raw coordinates" ;;
    --key) _tarvex_labels "$word"; return ;;
    *)
      case $path in
        "") words="key token secret keychain hash date base64url" ;;
        key) words="create show list" ;;
        "key show") _tarvex_labels "$word"; words="--format" ;;
        token) words="issue verify show" ;;
        "token issue"*) words="--key --sub --expires-in --exp --scope --priv --typ --alg" ;;
        "token verify"*) words="--key --public-key --ignore-expiry --batch -" ;;
        secret) words="set get remove list migrate" ;;
        "secret set" | "secret get" | "secret remove" | "secret migrate")
          words="password containerKey accessTokenAPI refreshTokenAPI" ;;
        "secret set "* | "secret get "* | "secret remove "*) words="--user" ;;
        keychain) words="status check repair backup slot" ;;
        "keychain slot") words="add change remove" ;;
        "keychain slot change") words="passphrase" ;;
        "keychain slot add" | "keychain slot remove") words="passphrase file secret-service" ;;
        "keychain slot add "* | "keychain slot change "*) words="--new-passphrase-file" ;;
        "keychain backup" | hash | "base64url to" | "base64url from") _tarvex_files -f "$word"; return ;;
        date) words="parse format" ;;
        base64url) words="to from" ;;
      esac
      [[ $word == -* ]] && words+=" --json --keychain-dir --team-prefix --identifier
        --passphrase-file --version --help" ;;
  esac
  mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -W "$words" -- "$word")
}
complete -F _tarvex tarvex
