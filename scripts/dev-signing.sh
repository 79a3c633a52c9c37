#!/usr/bin/env bash
# A private code-signing chain for development, made on this machine and never committed: out/signing/.
#
#   dev-signing.sh                      makes the chain if it is missing or older than config/signer-names.conf
#   dev-signing.sh PROFILE IN OUT       signs IN as OUT with one of the profiles below; the digest is
#                                       HALVORA_SIGN_DIGEST, or sha256
#
# Profiles: main, second (the accepted combinations), driver and system (main's names and a further usage), legacy
# (no code-signing usage, but the accepted subject), unit (accepted organization and unit, another common name),
# no-usage (main's names without any usage), other (names that nobody accepts).
source "$(dirname "$0")/common.sh"
SIGNING="$OUT/signing"
CONFIG="$ROOT/config/signer-names.conf"

CODE_SIGNING=1.3.6.1.5.5.7.3.3
SYSTEM_COMPONENT=1.3.6.1.4.1.311.10.3.6
DRIVER=1.3.6.1.4.1.311.10.3.5

# name N KEY: the value of KEY in the N-th [signer] section.
name() {
    awk -v n="$1" -v key="$2=" '
        /^\[/ { if ($0 == "[signer]") count++; inside = ($0 == "[signer]" && count == n) }
        inside && index($0, key) == 1 { print substr($0, length(key) + 1); exit }' "$CONFIG"
}
signer_subject() {  # N [OTHER_COMMON_NAME]
    printf '/C=%s/ST=%s/L=%s/O=%s/OU=%s/CN=%s' "$(name "$1" C)" "$(name "$1" ST)" "$(name "$1" L)" "$(name "$1" O)" \
        "$(name "$1" OU)" "${2:-$(name "$1" CN)}"
}
accepted_subject() { awk '/^\[/ { inside = ($0 == "[subject]"); next } inside && /=/ { printf "/%s", $0 }' "$CONFIG"; }

certificate() {  # PROFILE SUBJECT USAGES
    local profile=$1 subject=$2 usages=$3
    openssl req -new -newkey rsa:2048 -nodes -keyout "$SIGNING/$profile.key" -out "$SIGNING/$profile.csr" -subj "$subject"
    {
        printf 'basicConstraints=critical,CA:FALSE\nkeyUsage=critical,digitalSignature\n'
        [ -z "$usages" ] || printf 'extendedKeyUsage=%s\n' "$usages"
    } >"$SIGNING/$profile.ext"
    openssl x509 -req -in "$SIGNING/$profile.csr" -CA "$SIGNING/ca.pem" -CAkey "$SIGNING/ca.key" -CAcreateserial \
        -days 3650 -sha256 -extfile "$SIGNING/$profile.ext" -out "$SIGNING/$profile.leaf"
    cat "$SIGNING/$profile.leaf" "$SIGNING/ca.pem" >"$SIGNING/$profile.pem"
}

make_chain() {
    rm -rf "$SIGNING"
    (umask 077 && mkdir -p "$SIGNING")
    openssl req -x509 -newkey rsa:2048 -nodes -days 3650 -sha256 -keyout "$SIGNING/ca.key" -out "$SIGNING/ca.pem" \
        -subj "/C=XX/O=Halvora Development/CN=Halvora Development Root" -addext basicConstraints=critical,CA:TRUE \
        -addext keyUsage=critical,keyCertSign
    certificate main "$(signer_subject 1)" "$CODE_SIGNING"
    certificate second "$(signer_subject 2)" "$CODE_SIGNING"
    certificate driver "$(signer_subject 1)" "$CODE_SIGNING,$DRIVER"
    certificate system "$(signer_subject 1)" "$CODE_SIGNING,$SYSTEM_COMPONENT"
    certificate unit "$(signer_subject 1 'Somebody Else')" "$CODE_SIGNING"
    certificate no-usage "$(signer_subject 1)" ""
    certificate legacy "$(accepted_subject)" ""
    certificate other "/C=XX/ST=Elsewhere/L=Farville/O=Unrelated/OU=Unit/CN=Unrelated Signing" "$CODE_SIGNING"
    touch "$SIGNING/.ready"
}

if [ ! -f "$SIGNING/.ready" ] || [ "$CONFIG" -nt "$SIGNING/.ready" ]; then
    step "development signing chain" make_chain
fi
if [ $# -eq 3 ]; then
    [ -f "$SIGNING/$1.pem" ] || die "no signing profile '$1'"
    rm -f "$3.signing"
    osslsigncode sign -h "${HALVORA_SIGN_DIGEST:-sha256}" -certs "$SIGNING/$1.pem" -key "$SIGNING/$1.key" -n "Halvora" -in "$2" -out "$3.signing" >/dev/null
    mv "$3.signing" "$3"
elif [ $# -ne 0 ]; then
    die "usage: dev-signing.sh [PROFILE IN OUT]"
fi
