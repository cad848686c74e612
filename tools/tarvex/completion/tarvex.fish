# Completion of tarvex for fish.

# Whether the words that are no options and no values of options are these.
function __tarvex_at
    set -l words
    set -l isValue 0
    for word in (commandline -opc)[2..]
        if test $isValue = 1
            set isValue 0
            continue
        end
        switch $word
            case --json --ignore-expiry --batch --help --version -h - '--*=*'
            case '-*'
                set isValue 1
            case '*'
                set -a words $word
        end
    end
    test "$words" = "$argv"
end

function __tarvex_keys
    tarvex --passphrase-file /dev/null key list 2>/dev/null | cut -f1
end

complete -c tarvex -f
complete -c tarvex -l json -d 'Answer with a line of JSON'
complete -c tarvex -l keychain-dir -xa '(__fish_complete_directories)' -d 'Folder of the keychain'
complete -c tarvex -l team-prefix -x -d 'Prefix of the team'
complete -c tarvex -l identifier -x -d 'Act as this application'
complete -c tarvex -l passphrase-file -rF -d 'File with the passphrase'
complete -c tarvex -l version -d 'Print the version'
complete -c tarvex -s h -l help -d 'Print help'

complete -c tarvex -n '__tarvex_at' -a 'key token secret keychain hash date base64url'
complete -c tarvex -n '__tarvex_at key' -a 'create show list'
complete -c tarvex -n '__tarvex_at token' -a 'issue verify show'
complete -c tarvex -n '__tarvex_at secret' -a 'set get remove list migrate'
complete -c tarvex -n '__tarvex_at keychain' -a 'status check repair backup slot'
complete -c tarvex -n '__tarvex_at keychain slot' -a 'add change remove'
complete -c tarvex -n '__tarvex_at keychain slot add; or __tarvex_at keychain slot remove' -a 'passphrase file secret-service'
complete -c tarvex -n '__tarvex_at keychain slot change' -a passphrase
complete -c tarvex -n '__fish_seen_subcommand_from add change' -l new-passphrase-file -rF -d 'File with the new passphrase'
complete -c tarvex -n '__tarvex_at date' -a 'parse format'
complete -c tarvex -n '__tarvex_at base64url' -a 'to from'

complete -c tarvex -n '__tarvex_at key show' -a '(__tarvex_keys)'
complete -c tarvex -n '__fish_seen_subcommand_from key; and __fish_seen_subcommand_from show' -l format -xa 'pem jwk raw coordinates'
complete -c tarvex -n '__fish_seen_subcommand_from issue verify' -l key -xa '(__tarvex_keys)'
complete -c tarvex -n '__fish_seen_subcommand_from issue' -l sub -x -d 'The subject'
complete -c tarvex -n '__fish_seen_subcommand_from issue' -l expires-in -x -d 'Seconds from now'
complete -c tarvex -n '__fish_seen_subcommand_from issue' -l exp -x -d 'Seconds since 1970'
complete -c tarvex -n '__fish_seen_subcommand_from issue' -l scope -x
complete -c tarvex -n '__fish_seen_subcommand_from issue' -l priv -x -d 'NAME=A,B'
complete -c tarvex -n '__fish_seen_subcommand_from issue' -l typ -x
complete -c tarvex -n '__fish_seen_subcommand_from issue' -l alg -x
complete -c tarvex -n '__fish_seen_subcommand_from verify' -l public-key -rF -d 'PEM or JWK'
complete -c tarvex -n '__fish_seen_subcommand_from verify' -l ignore-expiry -d 'Take expired tokens too'
complete -c tarvex -n '__fish_seen_subcommand_from verify' -l batch -d 'A token a line'
for command in set get remove migrate
    complete -c tarvex -n "__tarvex_at secret $command" -a 'password containerKey accessTokenAPI refreshTokenAPI'
end
complete -c tarvex -n '__fish_seen_subcommand_from set get remove' -l user -x -d 'Whose secret it is'
complete -c tarvex -n '__tarvex_at hash; or __tarvex_at keychain backup; or __tarvex_at base64url to; or __tarvex_at base64url from' -F
