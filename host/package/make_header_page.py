#!/usr/bin/env python3
"""make_header_page.py HEADER VERSION FOLDER: writes quorvin.h(3) from the header's own comments into the
folder, and for each function a page that is the same one.
"""
import os
import re
import sys
import time

COMMENT = r'/\*(?P<text>.*?)\*/\s*'
DECLARATION = re.compile(COMMENT + r'(?P<code>typedef struct \w+ {.*?} \w+;|[^;{]*;)', re.DOTALL)
FIELD = re.compile(COMMENT + r'(?P<code>[^;]*;)', re.DOTALL)
FUNCTION = re.compile(r'(\w+)\(')


def escaped(text):
    text = text.replace('\\', r'\e').replace('-', r'\-').replace("'", r'\(aq')
    return re.sub(r'^\.', r'\\&.', text, flags=re.MULTILINE)


def code(text):
    return f'.nf\n{escaped(text)}\n.fi'


def prose(comment):
    """A comment's paragraphs; what is indented there is code."""
    lines = [re.sub(r'^\s*\*? ?', '', line, count=1) if at else line.strip()
             for at, line in enumerate(comment.rstrip().split('\n'))]
    paragraphs = re.split(r'\n\s*\n', '\n'.join(lines).strip('\n'))
    written = []
    for paragraph in paragraphs:
        is_code = paragraph.startswith('    ')
        written.append(code(re.sub(r'^ {4}', '', paragraph, flags=re.MULTILINE)) if is_code
                       else escaped(paragraph))
    return '\n.PP\n'.join(written)


def declared(text):
    """A declaration as a program's author needs it."""
    return re.sub(r'^QUORVIN_API ', '', text.strip()).replace('\n' + ' ' * 12, '\n')


def main():
    header, version, folder = sys.argv[1:]
    with open(header, encoding='utf-8') as file:
        text = file.read()
    about = re.match(COMMENT, text, re.DOTALL)['text']
    interface = text[text.index('typedef struct QuorvinEngine QuorvinEngine;'):]
    declarations = [(found['text'], found['code']) for found in DECLARATION.finditer(interface)]
    functions = [FUNCTION.search(code)[1] for _, code in declarations if 'QUORVIN_API' in code]

    date = time.strftime('%Y-%m-%d', time.gmtime(int(os.environ.get('SOURCE_DATE_EPOCH', time.time()))))
    summary, _, details = about.strip().partition('\n')
    page = [f'.TH QUORVIN.H 3 {date} "quorvin {version}" "Library Functions"', '.SH NAME',
            ', '.join(escaped(name) for name in ['quorvin.h', *functions]) +
            r' \- an engine that runs the media\-library plugin on one photo library',
            '.SH LIBRARY', r'libquorvin (\fIpkg\-config \-\-cflags \-\-libs quorvin\fR)',
            '.SH SYNOPSIS', code('#include <quorvin/quorvin.h>'), '.PP',
            code('\n'.join(declared(code) for _, code in declarations if 'QUORVIN_API' in code)),
            '.SH DESCRIPTION', prose(summary + '\n' + details)]
    for comment, declaration in declarations:
        struct = re.match(r'typedef struct (\w+) {(.*)}', declaration, re.DOTALL)
        callback = re.search(r'\(\*(\w+)\)', declaration)
        name = struct[1] if struct else callback[1] if 'typedef' in declaration \
            else FUNCTION.search(declaration)[1]
        page += [f'.SS {escaped(name)}']
        if not struct:
            page += [code(declared(declaration)), '.PP']
        page += [prose(comment)]
        for field in FIELD.finditer(struct[2] if struct else ''):
            page += ['.TP', r'\fB' + escaped(' '.join(field['code'].split())) + r'\fR',
                     prose(field['text'])]
    page += ['.SH SEE ALSO', '.BR quorvin (1)']

    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, 'quorvin.h.3'), 'w', encoding='utf-8') as file:
        file.write('\n'.join(page) + '\n')
    for function in functions:
        with open(os.path.join(folder, f'{function}.3'), 'w', encoding='utf-8') as file:
            file.write('.so man3/quorvin.h.3\n')


if __name__ == '__main__':
    main()
