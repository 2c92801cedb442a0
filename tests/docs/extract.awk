# SPDX-License-Identifier: MIT
# usage: awk -v folder=FOLDER -f extract.awk FILE.md...
# Writes each C++ block that begins with "// example: NAME" to FOLDER/NAME.cpp. A block without a main function
# becomes the body of one, below its includes. The next text block of the same file, if no other block comes
# before it, is what the program prints and goes to FOLDER/NAME.out.

function finish(    i, wrap)
{
    wrap = !hasMain
    for (i = 1; i <= count; ++i)
    {
        if (wrap && lines[i] !~ /^(#|\/\/|using |$)/)
        {
            print "int main()\n{" > file
            print "#line " first + i - 1 " \"" source "\"" > file
            wrap = 0
        }
        print lines[i] > file
    }
    if (!hasMain)
        print "}" > file
    close(file)
}

FNR == 1 { awaited = ""; block = "" }

/^```/ && block == "" {
    block = substr($0, 4)
    start = FNR
    if (block == "text" && awaited != "")
    {
        block = "output"
        file = folder "/" awaited ".out"
        printf "" > file
    }
    else if (block == "")
        block = "plain"
    awaited = ""
    next
}

/^```$/ {
    if (block == "example")
        finish()
    else if (block == "output")
        close(file)
    awaited = block == "example" ? name : ""
    block = ""
    next
}

block == "cpp" && FNR == start + 1 && /^\/\/ example: / {
    name = $3
    if (name !~ /^[A-Za-z0-9_]+$/ || name in seen)
    {
        print FILENAME ":" FNR ": the example needs a name of its own, in letters and digits" > "/dev/stderr"
        exit 1
    }
    seen[name] = 1
    block = "example"
    source = FILENAME
    file = folder "/" name ".cpp"
    count = hasMain = 0
    first = FNR + 1
    print "#line " first " \"" source "\"" > file
    next
}

block == "example" {
    lines[++count] = $0
    if ($0 ~ /^int main\(/)
        hasMain = 1
}

block == "output" { print > file }
