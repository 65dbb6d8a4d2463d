#!/usr/bin/env python3
"""Writes the manual page kyutil(1) (plain and gzipped) and the bash completion
of kyutil from the tool's own command table (`kyutil --command-table`), so the
help texts, the page and the completion are one source.

    gen_manual.py KYUTIL VERSION OUTDIR
"""
import gzip
import re
import subprocess
import sys

# An option token in a usage text: -x or --name, not the middle of a word such
# as "non-zero", with its metavariable when one follows.
OPTION = re.compile(r"(?<![\w-])(--?[A-Za-z][\w-]*)(?:[ =]([A-Z][A-Z_]*)\b)?")
# Metavariables whose values are files.
FILE_ARGS = {"FILE", "PATH"}


def read_table(kyutil):
    text = subprocess.run([kyutil, "--command-table"], check=True, capture_output=True,
                          text=True).stdout
    commands = []
    for line in text.split("\n"):
        if line.startswith("\t"):
            commands[-1]["usage"].append(line[1:])
        elif line:
            name, summary = line.split("\t", 1)
            commands.append({"name": name, "summary": summary, "usage": []})
    for c in commands:
        while c["usage"] and not c["usage"][-1].strip():
            c["usage"].pop()
    return commands


def options(command):
    """{option: metavariable or None} over the whole usage text, and whether
    the command takes a file operand."""
    found = {}
    for line in command["usage"]:
        for opt, meta in OPTION.findall(line):
            if opt != "--" and (opt not in found or meta):
                found[opt] = meta or None
    synopsis = command["usage"][0] if command["usage"] else ""
    operands = re.sub(r"\[?--?[A-Za-z][\w-]*(?: [A-Z][A-Z_]*)?\]?", "", synopsis)
    takes_file = any(w.strip("[].") in FILE_ARGS for w in operands.split())
    found.setdefault("--help", None)
    return found, takes_file


def roff(text):
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return "\\&" + text if text[:1] in (".", "'") else text


def manual(commands, version):
    out = [
        '.TH KYUTIL 1 "" "vokyutil %s" "User Commands"' % version,
        ".SH NAME",
        "kyutil \\- the vokyutil library from the shell",
        ".SH SYNOPSIS",
        ".B kyutil",
        ".I command",
        "[\\fIargs\\fR]",
        ".br",
        ".B kyutil help",
        "[\\fIcommand\\fR]",
        ".SH DESCRIPTION",
        "Each command calls the entries of one family of libvokyutil.",
        "Every command prints its usage text with",
        ".B \\-\\-help",
        "or",
        ".BR \\-h .",
        ".SH COMMANDS",
    ]
    for c in commands:
        out += [".SS %s" % roff(c["name"]), roff(c["summary"]) + ".", ".PP"]
        usage = c["usage"]
        if usage:
            out += [".nf", roff(usage[0]), ".fi"]
        for line in usage[1:]:
            stripped = line.strip()
            if not stripped:
                out.append(".PP")
            elif line.startswith("  ") and stripped.startswith("-"):
                parts = re.split(r"\s{2,}", stripped, maxsplit=1)
                term, text = parts[0], parts[1] if len(parts) > 1 else ""
                out += [".TP", ".B " + roff(term)]
                if text:
                    out.append(roff(text))
            else:
                out.append(roff(stripped))
    out += [
        ".SH EXIT STATUS",
        "0 on success, 1 when the operation failed, 2 for bad arguments.",
        ".SH SEE ALSO",
        "The vokyutil API reference, built by the",
        ".B docs",
        "target of the source tree.",
        "",
    ]
    return "\n".join(out)


def completion(commands):
    names = " ".join(c["name"] for c in commands)
    cases = []
    for c in commands:
        found, takes_file = options(c)
        with_arg = " ".join(o for o, m in found.items() if m)
        file_arg = " ".join(o for o, m in found.items() if m in FILE_ARGS)
        cases.append('    %s) opts="%s" argopts="%s" fileopts="%s" files=%d ;;'
                     % (c["name"], " ".join(found), with_arg, file_arg, 1 if takes_file else 0))
    return """# bash completion for kyutil, generated from its command table.
_kyutil() {
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}
  local commands="%s"
  local opts="" argopts="" fileopts="" files=0
  COMPREPLY=()
  if ((COMP_CWORD == 1)); then
    COMPREPLY=($(compgen -W "help $commands" -- "$cur"))
    return
  fi
  case ${COMP_WORDS[1]} in
    help) ((COMP_CWORD == 2)) && COMPREPLY=($(compgen -W "$commands" -- "$cur")); return ;;
%s
    *) return ;;
  esac
  if [[ " $argopts " == *" $prev "* ]]; then
    [[ " $fileopts " == *" $prev "* ]] && COMPREPLY=($(compgen -f -- "$cur"))
    return
  fi
  if [[ $cur == -* ]]; then
    COMPREPLY=($(compgen -W "$opts" -- "$cur"))
  elif ((files)); then
    COMPREPLY=($(compgen -f -- "$cur"))
  fi
}
complete -o filenames -F _kyutil kyutil
""" % (names, "\n".join(cases))


def main():
    kyutil, version, outdir = sys.argv[1:4]
    commands = read_table(kyutil)
    page = manual(commands, version)
    with open(outdir + "/kyutil.1", "w", encoding="utf-8") as f:
        f.write(page)
    # mtime 0 and no file name inside: the same page gives the same bytes.
    with open(outdir + "/kyutil.1.gz", "wb") as f:
        f.write(gzip.compress(page.encode("utf-8"), 9, mtime=0))
    with open(outdir + "/kyutil.bash-completion", "w", encoding="utf-8") as f:
        f.write(completion(commands))


if __name__ == "__main__":
    main()
