#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# usage: vnCommandsTest.sh VN FOLDER
# Runs the commands of vn in a folder of its own below FOLDER, and compares what they print and how they end.
set -uo pipefail
export LC_ALL=C
vn=$(realpath "$1") || exit 1
work=$2/vnCommandsTest
rm -rf "$work" && mkdir -p "$work" && cd "$work" || exit 1
failures=0

# check WHAT EXIT-CODE EXPECTED-OUTPUT ARGUMENTS...: standard output must be exactly this, and a failure says why on
# standard error.
check()
{
    local what=$1 code=$2 expected=$3 output actual
    shift 3
    output=$("$vn" "$@" 2> error; echo "code $?")
    actual=${output##*code }
    output=${output%code *}
    if [[ $actual != "$code" ]]; then
        echo "$what: ended with $actual, not $code: $(head -c 300 error)"
        failures=$((failures + 1))
    elif [[ $output != "$expected" ]]; then
        printf '%s: printed <%s>, not <%s>\n' "$what" "$output" "$expected"
        failures=$((failures + 1))
    elif [[ $code != 0 && ! -s error ]]; then
        echo "$what: failed without a word"
        failures=$((failures + 1))
    elif grep -q $'\r' error; then
        echo "$what: standard error is no terminal"
        failures=$((failures + 1))
    fi
}

# same WHAT FILE FILE
same()
{
    if ! cmp -s "$2" "$3"; then
        echo "$1: $2 and $3 differ"
        failures=$((failures + 1))
    fi
}

line=$'\n'
check "integers, doubles, strings" 0 "a   |-42|ff|1.5$line" format '%-4s|%d|%x|%f' a -42 255 1.5
check "the largest unsigned integer" 0 "18446744073709551615 ffffffffffffffff$line" \
    format '%u %x' 18446744073709551615 18446744073709551615
check "the smallest integer" 0 "-9223372036854775808$line" format '%d' -9223372036854775808
check "an integer too large for 64 bits is a string" 0 "18446744073709551616$line" format '%s' 18446744073709551616
check "= makes a string" 0 "42 =x$line" format '%s %s' =42 ==x
check "an exponent makes a number" 0 "1500$line" format '%f' 1.5e3
check "no number at all" 0 "1e . + -$line" format '%s %s %s %s' 1e . + -
check "sixteen arguments" 0 "16$line" format '%16$d' 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16
check "seventeen arguments" 2 "" format '%d' 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17
check "no format" 2 "" format
check "an option-like format" 0 "--top$line" format --top
check "digits as a string" 0 "5$line" format %s =5

check "no command" 2 ""
check "an unknown command" 2 "" frobnicate
check "help of nothing known" 2 "" help frobnicate
check "help of two commands" 2 "" help words scan
check "a version of something" 2 "" version words
check "help of help" 0 "usage: vn help [COMMAND]${line}show all commands, or with a COMMAND more about it$line" help help
check "help of version" 0 "usage: vn version${line}show the library's version$line" help version
"$vn" help | grep -q '^  words ' || { echo "help does not list words"; failures=$((failures + 1)); }
"$vn" help words | grep -q -- '--top N' || { echo "help words does not tell its options"; failures=$((failures + 1)); }

printf 'The cat, the\tCAT and the dog: 42 42 Z\xc3\xbcrich\n' > text
check "words" 0 "3 the${line}2 42${line}2 cat${line}1 and${line}1 dog${line}1 z"$'\xc3\xbc'"rich$line" words text
check "the top words, of two files" 0 "6 the${line}4 42$line" words --top 2 --threads=3 text text
check "a top of nothing" 2 "" words --top 0 text
check "a top that is no number" 2 "" words --top many text
check "a missing number" 2 "" words --top
check "an unknown option" 2 "" words --bottom 3 text
check "no file" 2 "" words
check "words of standard input" 0 "2 b${line}1 a$line" words - < <(printf 'b a b')
check "a missing file" 1 "" words missing
head -c 3000000 /dev/zero | tr '\0' 'x' > long
check "a word of three million bytes is cut at 1000" 0 "1 $(head -c 1000 long)$line" words long
# Words that lie across the blocks of a million bytes are counted whole.
seq 1 400000 > numbers
check "words across blocks" 0 "1 1${line}1 10${line}1 100$line" words --top 3 numbers
if [[ $("$vn" words --top 1000000 numbers | wc -l) != 400000 ]]; then
    echo "words across blocks: lost or split"
    failures=$((failures + 1))
fi

"$vn" cat text numbers > joined && cat text numbers > expected && same "cat" joined expected
"$vn" copy numbers copied && same "copy" numbers copied
: > empty
"$vn" copy empty copiedEmpty && same "copy of an empty file" empty copiedEmpty
check "a file onto itself" 1 "" copy numbers numbers
ln -sf numbers link
check "a file onto itself by another name" 1 "" copy link numbers
same "the file is whole afterwards" numbers copied
check "one file name" 2 "" copy numbers
check "standard input, once" 0 "some text" cat - - < <(printf 'some text')
check "standard streams as files" 0 "some text" copy - - < <(printf 'some text')
"$vn" copy - copied < numbers && same "copy of standard input" numbers copied
printf 'own' > -
check "a file that is called like them" 0 "own" cat ./- < /dev/null
check "a missing source leaves the target" 1 "" copy missing copied
same "the target is whole afterwards" numbers copied
check "a folder as source" 1 "" cat .
check "a folder as target" 1 "" copy text .
if [[ -e /dev/full ]]; then
    check "a full target" 1 "" copy numbers /dev/full
    for command in "cat numbers" help version; do
        # shellcheck disable=SC2086
        "$vn" $command > /dev/full 2> error
        [[ $? == 1 ]] || { echo "$command to a full disk: not a failure"; failures=$((failures + 1)); }
        grep -q 'standard output' error || { echo "$command to a full disk: not named"; failures=$((failures + 1)); }
    done
fi
for command in "copy numbers limited" "copy numbers -" "cat numbers"; do
    # shellcheck disable=SC2086
    (ulimit -f 100 && exec "$vn" $command) > limited 2> error
    [[ $? == 1 ]] || { echo "$command beyond the limit of a file: not a failure"; failures=$((failures + 1)); }
    grep -q 'File too large' error || { echo "$command beyond the limit of a file: not told"; failures=$((failures + 1)); }
    same "$command up to the limit of a file" limited <(head -c "$(stat -c %s limited)" numbers)
    [[ -s limited ]] || { echo "$command: nothing up to the limit of a file"; failures=$((failures + 1)); }
done
printf 'a line\n' > 12:30.log && cp 12:30.log copied
check "a file onto itself whose name looks like a URL" 1 "" copy 12:30.log '12:30.log?append=no'
same "that file is whole" 12:30.log copied
check "a file onto itself within another URL" 1 "" copy cache:0,3,file:12:30.log 12:30.log
same "that file is whole, too" 12:30.log copied
cp numbers copied
mkfifo fifo && (cat numbers > fifo &) && "$vn" cat fifo > copied && same "a named pipe" numbers copied

check "a file onto itself by its URL" 1 "" copy numbers file:numbers
check "a file onto itself by its URL as source" 1 "" copy file:numbers numbers
mkdir -p library && cp text library/book
VANTOR_PATH=$PWD/library check "a file onto itself where the search path has it" 1 "" copy book library/book
same "the file of the search path" text library/book
check "an empty name" 2 "" words ""
# Stacks that no memory is left for: no thread can be started. What reserves memory by itself can't run at all then.
narrow="ulimit -s 4000000 && ulimit -v 1000000"
if (eval "$narrow" && "$vn" version) > /dev/null 2>&1; then
    (eval "$narrow" && exec timeout 20 "$vn" words text) > output 2> error
    code=$?
    [[ $code == 1 && ! -s output ]] || { echo "words without threads: ended with $code"; failures=$((failures + 1)); }
    grep -q 'no thread' error || { echo "words without threads: not told"; failures=$((failures + 1)); }
fi
same "the file is whole after that" numbers copied
"$vn" copy dummy:3000000 file:noise && [[ $(stat -c %s noise) == 3000000 ]] ||
    { echo "random bytes: not 3000000"; failures=$((failures + 1)); }
printf 'more' > appended && "$vn" copy text 'file:appended?append=yes' && (printf 'more'; cat text) > expected &&
    same "appending" appended expected
check "memory is no business of a command line" 2 "" cat mem:1234,5
check "nor are adapters, in any case" 2 "" cat ADAPT:1234
check "nor memory within another URL" 2 "" cat cache:0,5,mem:1234,5
check "nor an adapter within two" 2 "" cat 'zip:{rand:Adapt:1234},name'
check "nor memory whose scheme comes together when the URL is split" 2 "" cat mecache:0,5,m:1234,5
check "nor where a URL is only split" 2 "" url mem:1,2
printf 'a file' > mem:1,2
check "a file that is called like memory" 0 "a file" cat file:mem:1,2
printf 'other' > a-mem:1
check "a file whose name holds a scheme" 0 "other" cat ./a-mem:1
check "a query that holds a scheme" 1 "" cat 'http://localhost/?q=mem:'
check "a scheme that can't be opened" 1 "" cat http://localhost/
if python3 -c 'import zipfile; zipfile.ZipFile("a.zip", "w").writestr("dir/b.txt", "a member")' 2> /dev/null; then
    check "a member of an archive" 0 "a member" cat 'zip:{file:a.zip},dir/b.txt'
    check "a member of an archive in memory" 0 "a member" cat 'zip:{rand:file:a.zip},dir/b.txt'
    check "a member that is not there" 1 "" cat 'zip:{file:a.zip},dir/B.txt'
    grep -q "Couldn't locate dir/B.txt" error || { echo "the member is not named"; failures=$((failures + 1)); }
    cp a.zip b.zip
    check "an archive is not written" 1 "" copy text 'zip:{file:a.zip},dir/b.txt'
    same "the archive is whole afterwards" a.zip b.zip
    check "a part of a member" 0 "memb" cat 'cache:2,4,zip:{file:a.zip},dir/b.txt'
fi
check "an archive that is not there" 1 "" cat 'zip:{file:missing},x'
grep -q "can't open 'file:missing' for" error || { echo "the archive is not named"; failures=$((failures + 1)); }
check "options end" 2 "" cat --frobnicate text
printf 'dashed' > --dashed
check "behind the end of options" 0 "dashed" cat -- --dashed

check "the parts of a URL" 0 "http:${line}//host/dir/${line}file.txt${line}a=1&b=2$line" url 'HTTP://host/dir/file.txt?a=1&b=2'
check "the parts of a name" 0 "$line${line}name$line$line" url name
check "no URL" 2 "" url
check "an empty URL" 2 "" url ''
check "a URL without its parts" 1 "" url zip:a.zip

printf 'a = "b c" -1.5\n[x] // end\n' > source
check "tokens" 0 "1 1 identifier a${line}1 2 whitespace 32${line}1 3 token 61${line}1 4 whitespace 32${line}1 5 token \
34${line}1 6 identifier b${line}1 7 whitespace 32${line}1 8 identifier c${line}1 9 token 34${line}1 10 whitespace \
32${line}1 11 real -1.5${line}1 15 whitespace 32${line}2 1 token 91${line}2 2 identifier x${line}2 3 token 93${line}2 4 \
whitespace 32${line}2 5 comment  end${line}2 11 whitespace 32$line" tokens source
check "tokens with strings and sets" 0 "1 1 identifier a${line}1 2 whitespace 32${line}1 3 token 61${line}1 4 whitespace \
32${line}1 5 string b c${line}1 10 whitespace 32${line}1 11 real -1.5${line}1 15 whitespace 32${line}2 1 set x${line}2 4 \
whitespace 32${line}2 5 comment  end${line}2 11 whitespace 32$line" tokens --strings source --set
printf '"\xc3\xa4\n"4294967296 1e' > source
check "tokens with a line feed, a large number, an error" 0 "1 1 string "$'\xc3\xa4'"\\n${line}2 2 large \
4294967296${line}2 12 whitespace 32${line}2 13 error 5$line" tokens --utf8 --strings source
printf '100000 123456789012\n' > source
check "tokens of large integers" 0 "1 1 integer 100000${line}1 7 whitespace 32${line}1 8 large 123456789012${line}1 20 \
whitespace 32$line" tokens source
# A character that has the byte of a line feed is none.
printf '\377\376a\0\n\1\n\0b\0' > source
check "tokens of 16-bit text" 0 "1 1 identifier a"$'\xc4\x8a'"${line}1 3 whitespace 32${line}2 1 identifier b$line" \
    tokens source
printf '\376\377\0\n\n\1\0 \0b' > source
check "tokens of big-endian text" 0 "1 1 whitespace 32${line}2 1 identifier "$'\xe0\xa8\x81'"${line}2 2 whitespace \
32${line}2 3 identifier b$line" tokens source
printf '\xef\xbb\xbfa b' > source
printf '\xef\xbb\xbf\xc3\xa4\xe2\x82\xac\n\xc3\xa4;' > wide
check "tokens behind a mark" 0 "1 1 identifier a${line}1 2 whitespace 32${line}1 3 identifier b$line" tokens source
check "tokens of marked characters" 0 "1 1 identifier "$'\xc3\xa4\xe2\x82\xac'"${line}1 3 whitespace 32${line}2 1 identifier \
"$'\xc3\xa4'"${line}2 2 token 59$line" tokens wide
check "tokens of nothing" 0 "" tokens empty
check "tokens of standard input" 0 "1 1 identifier a$line" tokens - < <(printf a)
check "tokens with an unknown option" 2 "" tokens --string source

check "scan" 0 "10${line}20$line" scan '%l,%l' 10,20
check "scan with pieces like options" 0 "-7$line--x$line" scan '%l%w%e' '-7 --x'
check "scan, a mismatch behind a piece" 1 "1024$line" scan '%l,%l' 1024
check "scan, a piece with quotes" 0 "x$line" scan %s "'x'"
check "scan, a piece of two lines" 0 "a\\nb$line" scan %e $'a\nb'
check "scan, an empty format" 0 "" scan '' text
check "scan without a text" 2 "" scan %l

printf 'pair ::= $ fIdent fPush "=" number ;\nnumber ::= $ digit+ fPush ;\nbad ::= ( digit ;\n' > rules
printf 'key=42;' > input
check "match" 0 "OK${line}6${line}key${line}42$line" match rules pair input
check "no match" 1 "No Match${line}0$line" match rules number input
check "rules of standard input" 0 "OK${line}6${line}key${line}42$line" match - pair input < rules
check "a match of standard input" 0 "OK${line}6${line}key${line}42$line" match rules pair - < input
check "a rule that is wrong" 1 "Missing right ')' in rule 'bad' at (Line:0,Col:7) -> ( digit${line}0$line" match rules bad input
check "a rule that is not there" 1 "Unknow parse function 'none'${line}0$line" match rules none input
[[ $(cat error) == "vn match: 'input' could not be matched against rule 'none'" ]] ||
    { echo "the error of a match is told twice: $(cat error)"; failures=$((failures + 1)); }
echo 'no rule ;' > malformed
check "rules that are malformed" 1 "'malformed' has rules that are malformed${line}0$line" match malformed rule input
check "rules that are not there" 1 "" match missing pair input
printf 'fToken ::= "k" ;\nown ::= $ fToken fPush ;\nall ::= [^]* ;\nmost ::= [^]* "x" ;\n' > own
check "rules replace those of scanning" 0 "OK${line}1${line}k$line" match own own input
check "rules replace those of scanning, no match" 1 "No Match${line}0$line" match own own text
check "much is taken back" 1 "No Match${line}0$line" match own most numbers
head -c 17000000 /dev/zero > large
check "more than can be taken back" 1 "Too Large Pushback in basic parser${line}17000000$line" match own most large
if [[ -e /proc/self/mem ]]; then
    "$vn" match own all /proc/self/mem > output 2> error
    code=$?
    [[ $code == 1 && $(head -n 1 output) != OK ]] || { echo "match of what can't be read: ended with $code"; failures=$((failures + 1)); }
fi
check "a trace keeps out of the results" 0 "OK${line}6${line}key${line}42$line" match --trace rules pair input
"$vn" match rules pair input --trace > output 2> error; grep -q 'Parsing Rule     : number' error ||
    { echo "match does not trace"; failures=$((failures + 1)); }

printf '\xbb\xd1\xb4\x83\0\0\0\x51\0\0\0\0\4\0\0\0' > objects # of four user data
printf 'a\0\xfe\xff\xff\xff\7\xcd\xbf\xfe\1\0\0\0n\0\xfc\2\0\1\5' >> objects
printf 'b\0\xff\xff\xff\xff\0\0\0\x0c\0\0\0\0' >> objects
printf 'c\n\0\x12\x34\x56\x78\0\0\0\x0e\0\0\0\1xy' >> objects
printf 'd\0\0\0\0\0' >> objects
printf '\0\0\0\0' >> objects
check "objects" 0 "vnObject size 81 instance 0$line  \"a\" attributes 1$line    \"n\" num 5$line  \"b\" instance 0$line  \
\"c\\x0a\" unknown 12345678 size 14$line  \"d\" null${line}null$line" objects objects
check "objects of standard input" 0 "null$line" objects - < <(printf '\0\0\0\0')
head -c 40 objects > cut
check "objects that are cut" 1 "vnObject size 81 instance 0$line  \"a\" attributes 1$line    \"n\" num 5$line" objects cut
printf '\xbb\xd1\xb4\x83\0\0\0\x16\0\0\0\0\1\0\0\0a\0\xfe\xff\xff\xff' > bare # ends with a set without bytes
bare="vnObject size 22 instance 0$line  \"a\" attributes 0$line"
check "objects that end with a bare set" 0 "$bare" objects file:bare
check "objects that end with a bare set, in memory" 0 "$bare" objects rand:file:bare
check "objects that end with a bare set, in a cache" 0 "$bare" objects cache:0,22,file:bare
check "objects that are cut, in memory" 1 "vnObject size 81 instance 0$line  \"a\" attributes 1$line    \"n\" num 5$line" \
    objects rand:file:cut
check "objects of nothing" 0 "" objects empty
printf '\1\2\3\4\0\0\0\x0b\0\0\0\0' > short
check "an object of eleven bytes" 1 "" objects short

printf '<a><b id="1">t</b><?include part.xml?></a>' > main.xml
printf '<p><q/></p>' > part.xml
printf '<a><b></a>' > wrong.xml
declaration='<?xml version="1.0" encoding="utf-8" standalone="yes" ?>'
check "a document" 0 "$declaration$line<a>$line"$'\t'"<b id=\"1\">t</b>$line"$'\t'"<?include part.xml?>$line</a>$line" \
    xml main.xml
check "an item" 0 "$line<q/>$line" xml main.xml //q
check "a document that is included" 0 "$line<p>$line"$'\t'"<q/>$line</p>$line" xml main.xml a/part.xml
check "the document as an item" 0 "$("$vn" xml main.xml)$line" xml main.xml a/..
check "an item of a document that is not included" 1 "" xml --no-include main.xml //q
check "a text" 0 "t$line" xml main.xml "a/b[@id='1']/<char_data>"
check "no item" 1 "" xml main.xml a/b/c
check "no document" 1 "" xml wrong.xml
printf '<?xml version="1.0" encoding="latin1"?><a><b c="x\xe9"/></a>' > latin.xml
check "an item of a document in Latin-1" 0 "$line<b c=\"x"$'\xe9'"\"/>$line" xml latin.xml a/b
printf '<?xml version="1.0" encoding="latin1"?><a><b><?é d?></b></a>' | iconv -f utf-8 -t utf-16 > wide.xml
check "an item of 16-bit text that calls itself Latin-1" 0 "$line<b>$line"$'\t'"<?é d?></b>$line" xml wide.xml a/b
printf '<a><b c="%s&lt;"/></a>' "$(printf '%020000d' 0 | tr 0 "'")" > long.xml # each quote becomes a reference
check "a value that may not be written" 1 "$declaration$line<a>$line"$'\t'"<b" xml long.xml
grep -q "element 'b' at level 2: Attribute value" error || { echo "no place: $(cat error)"; failures=$((failures + 1)); }
check "the notifications of a document" 0 "1 ElementStart \"a\"
1 ElementAttributeEnd \"a\"
1 ElementContentsStart \"a\"
2 ElementStart \"b\"
2 Attribute \"id\" \"1\"
2 ElementAttributeEnd \"b\"
2 ElementContentsStart \"b\"
2 CharData \"t\"
2 ElementContents \"b\" \"t\"
2 ElementContentsEnd \"b\"
2 ElementEnd \"b\"
1 ProcessingInstruction \"include\" \"part.xml\"
1 ElementContents \"a\" \"<b id=\\\"1\\\">t</b><?include part.xml?>\"
1 ElementContentsEnd \"a\"
1 ElementEnd \"a\"
" xml --events main.xml
printf '<vnDyn type="num" name="n">4</vnDyn>' > number.xml
check "the notification of a value" 0 "1 ElementStart \"vnDyn\"
1 Attribute \"type\" \"num\"
1 Attribute \"name\" \"n\"
1 ElementAttributeEnd \"vnDyn\"
1 ElementContentsStart \"vnDyn\"
1 DynamicType \"num\" \"4\" \"n\"
1 ElementContents \"vnDyn\" \"4\"
1 ElementContentsEnd \"vnDyn\"
1 ElementEnd \"vnDyn\"
" xml --events number.xml
printf '<a>]]></a>' > endless.xml
check "notifications without end" 1 "1 ElementStart \"a\"
1 ElementAttributeEnd \"a\"
1 ElementContentsStart \"a\"
$(yes '1 CharData ""' | head -999)$line" xml --events endless.xml
check "a number on the wire" 0 "fc0200010c$line" value num 12
check "a negative number" 0 "fc020001fb$line" value num -5
check "no number" 1 "" value num text
check "two numbers" 1 "" value num 1,2
check "no value" 0 "fc010000$line" value void
check "a text" 0 "fc0000026162$line" value str ab
check "a large integer" 0 "fc0600080000000001000000$line" value llnum 4294967296
check "no integer" 1 "" value llnum 1.5
check "a vector" 0 "fc0800080000803f00002040$line" value vec2 1,2.5
check "a vector of three" 0 "fc09000c0000803f0000004000004040$line" value vec3 1,2,3
check "a vector of four" 0 "fc0a00100000803f000000400000404000008040$line" value vec4 1,2,3,4
check "an error" 0 "fc0500026162$line" value error ab
check "a GUID" 0 "fc1200106ba7b8109dad11d180b400c04fd430c8$line" value guid '{6BA7B810-9DAD-11D1-80B4-00C04FD430C8}'
check "an array" 0 "fc07001503fc02000101fc00000161fc07000601fc02000101$line" value array "[1, 'a', [yes]]"
check "a number of 64 bits and more" 0 "fc020008000000000000e043$line" value num 9223372036854775808
check "a vector that is too short" 1 "" value vec3 1,2
check "an array that is open" 1 "" value array '[1'
check "no value, with a text" 0 "fc010000$line" value void ''
check "a large integer with a sign" 0 "fc0600080000000001000000$line" value llnum +4294967296
check "no integer with two signs" 1 "" value llnum +-1
check "no type" 2 "" value number 1
check "no text" 2 "" value num

# encodes WHAT FORMAT PLAIN ENCODED: files, both ways.
encodes()
{
    check "$1, encoded" 0 "" encode "$2" "$3" encoded
    same "$1, encoded" "$4" encoded
    check "$1, decoded" 0 "" decode "$2" "$4" decoded
    same "$1, decoded" "$3" decoded
}

printf Ma > plain
check "base64" 0 TWE encode base64 plain -
check "hexadecimal" 0 4D61 encode hex plain -
check "standard streams" 0 Ma decode base64 - - < <("$vn" encode base64 - - < plain)
check "scrambled" 0 Ma decode scramble:7 - - < <("$vn" encode scramble:7 plain -)
check "half a byte" 1 "Ma" decode hex - - < <(printf '4d 61 7')
check "a lone character" 1 "Man" decode base64 - - < <(printf TWFuT)
check "a lone character before a terminator" 0 "Man" decode base64 - - < <(printf TWFuT=)
check "what is not compressed" 1 "" decode compress plain -
check "a file onto itself" 1 "" encode hex plain plain
check "no format" 2 "" encode base63 plain -
check "no key" 2 "" encode scramble:-1 plain -

# Against the tools of the system, which want padding and write lines.
head -c 50000001 /dev/urandom > plain
base64 -w0 plain | tr -d = > text
encodes "50 MB as base64" base64 plain text
head -c 50000000 plain > part
for file in plain part; do
    "$vn" encode base64 $file encoded
    while (( $(stat -c %s encoded) % 4 )); do printf = >> encoded; done
    base64 -d encoded > decoded || failures=$((failures + 1))
    same "50 MB for base64 -d" $file decoded
done
base64 plain > text
check "lines of base64" 0 "" decode base64 text decoded; same "lines of base64" plain decoded
od -An -v -tx1 plain > lines
tr -d ' \n' < lines | tr a-f A-F > text
encodes "50 MB as hexadecimal text" hex plain text
check "lines of hexadecimal text" 0 "" decode hex lines decoded; same "lines of hexadecimal text" plain decoded
"$vn" encode hex plain encoded
basenc --base16 -d encoded > decoded || failures=$((failures + 1))
same "50 MB for basenc -d" plain decoded
head -c 3000000 plain > part
"$vn" encode compress - blocks < part
check "three blocks" 0 "" decode compress blocks decoded; same "three blocks" part decoded
head -c 1000000 part > first
"$vn" encode compress first block
head -c "$(stat -c %s block)" blocks > encoded; same "a block per 1000000 bytes" block encoded
rm -f plain text lines encoded decoded part first block blocks

printf '{"list": [1, "\\u00e9", true], "": [[0.5]]}' > json
tab=$'\t' accented=$'\xc3\xa9'
check "json" 0 "$line{$line$tab\"\":$tab[[0.500000]],$line$tab\"list\":$tab[1.000000,\"$accented\",true]$line}$line" json json
check "strict json" 0 "[1,\"a\\u0001\"]$line" json --strict - < <(printf '[1, "a\\u0001"]')
check "the value of json" 0 "array$line  0: cont$line    \"a\": str \"x\"$line  1: llnum 2$line" \
    json --strict --value - < <(printf '[{"a":"x"},2]')
check "a value that only the wide form has" 0 "array$line  0: num <inf>$line" json --value - < <(printf '[1e400]')
# With a copy of the innermost texts for each level above them there would be no room.
text=$(printf '%060000d' 0)
{ printf '[%.0s' {1..900}; printf "\"$text\",%.0s" {1..20}; printf '5'; printf ']%.0s' {1..900}; } > json
if (ulimit -v 500000 && "$vn" version) > /dev/null 2>&1; then
    last=$( (ulimit -v 500000 && "$vn" json --value json) | tail -n 1)
    [[ $last == *'  20: num 5' ]] || { echo "many levels: ended with <$last>"; failures=$((failures + 1)); }
fi
check "wrong json" 1 "" json --strict - < <(printf '[1,]')
check "no json" 1 "" json - < <(printf ' ')
check "json of nothing" 2 "" json
rm json

export XDG_CONFIG_HOME=$PWD/config VANTOR_SYSTEM_STORE=$PWD/system
check "a key that is not there" 1 "" key get viewer/width
check "all of no keys" 0 "" key list
check "a key of the user" 0 "" key set viewer/width 640
check "its value" 0 "640$line" key get 'viewer\width'
check "a key of the machine" 0 "" key set --machine viewer/height -- -x
check "the user falls back to it" 0 "-x$line" key get viewer/height
check "the machine does not fall back" 1 "" key get --machine viewer/width
check "an empty value" 0 "" key set plain ""
check "which is a value" 0 "$line" key get plain
plain=environment check "the environment comes first" 0 "environment$line" key get plain
check "a secret" 0 "" key set --password=word secrets/one "a text"
check "read with its password" 0 "a text$line" key get secrets/one --password word
check "read without" 1 "" key get secrets/one
check "what a password would spoil" 1 "" key set --password word secrets/one $'\xF0\x9F\x98\x80'
check "the keys below one" 0 "viewer/width$line" key list viewer
check "the keys with a password" 0 "secrets/one$line" key list --password word secrets
check "the keys of the machine" 0 "viewer/height$line" key list --machine
for key in "" / a/ 'a\'; do
    check "a key without a name" 2 "" key set "$key" x
done
check "a key removed" 0 "" key remove viewer/width
check "a key removed twice" 1 "" key remove viewer/width
printf damaged > config/vantorsdk/user.keys
check "a damaged file is kept" 1 "" key set viewer/width 640
for words in "get viewer/width" "list"; do
    # shellcheck disable=SC2086
    check "and not taken for one without keys" 1 "" key $words
    [[ $(cat error) == "vn key: can't read '$PWD/config/vantorsdk/user.keys': the file of the settings is damaged" ]] ||
        { echo "the damaged file is not named: $(cat error)"; failures=$((failures + 1)); }
done
check "the machine has its own" 0 "viewer/height$line" key list --machine
grep -q damaged config/vantorsdk/user.keys || { echo "the damaged file is gone"; failures=$((failures + 1)); }
check "nothing to do with keys" 2 "" key
check "something unknown to do with keys" 2 "" key find viewer
check "a key without a value" 2 "" key set viewer
check "a password without a text" 2 "" key get viewer --password

[[ $failures == 0 ]]
