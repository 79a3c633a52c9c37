# The languages of ./demo.sh --lang; source it.
#
# The product asks Windows for the system's language, and Wine takes that from the name of the locale that its process
# runs in. The locale need not be installed: a copy of C.UTF-8 under the wanted name in a folder that LOCPATH names is
# enough, since Wine looks at the name alone.

declare -A locale_names=(
    [1025]=ar_SA [1026]=bg_BG [1028]=zh_TW [1029]=cs_CZ [1030]=da_DK [1031]=de_DE [1032]=el_GR [1033]=en_US
    [1035]=fi_FI [1036]=fr_FR [1037]=he_IL [1038]=hu_HU [1040]=it_IT [1041]=ja_JP [1042]=ko_KR [1043]=nl_NL
    [1044]=nb_NO [1045]=pl_PL [1046]=pt_BR [1048]=ro_RO [1049]=ru_RU [1051]=sk_SK [1053]=sv_SE [1055]=tr_TR
    [1058]=uk_UA [2052]=zh_CN [2070]=pt_PT [3082]=es_ES [4100]=zh_SG
)

# in_language LCID COMMAND...: runs a Windows program on a system of that language.
in_language() {
    local name=${locale_names[$1]}.UTF-8
    shift
    mkdir -p "$OUT/locale"
    [ -d "$OUT/locale/$name" ] || cp -rL /usr/lib/locale/C.utf8 "$OUT/locale/$name"
    env LOCPATH="$OUT/locale" LC_ALL="$name" "$@"
}
