# Nothing here has run this program yet: it is written from the documentation of pywin32.
"""Python: the time zones that ten countries or more share. The same program as the others in this folder, late-bound.

    pip install pywin32
    python zones.py ..\\data\\zones.tab shared.txt

The first file is read, the second one written.
"""
import sys

import pywintypes
from win32com.client import Dispatch

MANY = 10


def main(table: str, new_file: str) -> None:
    # Read: one row a line, split at tabs. Methods need their parentheses, also those without arguments.
    file = Dispatch('Nuvolex.NXFileStream')
    if not file.Open(table, False):
        sys.exit(f'cannot open {table}')
    rows = Dispatch('Nuvolex.NXTokenStringList')
    while not file.IsEOF():
        line = file.ReadNextLine()
        if not file.IsCommentLine(line):  # begins with "#", or is empty like the one after the last line end
            row = rows.AddNew()  # a new token string, which is in the list already
            row.Separator = '\t'
            row.Value = line

    # Split the first column at commas, and collect the names in the third.
    codes = Dispatch('Nuvolex.NXTokenString')
    codes.Separator = ','
    names = Dispatch('Nuvolex.NXStringList')
    for row in rows:
        codes.Value = row.Token(0)
        if codes.Count >= MANY:
            names.Add(row.Token(2))
    print(f'{names.Count} of {rows.Count} zones are shared by {MANY} countries or more:')
    for name in names:
        print(f'  {name}')

    # A variant collection holds values of any type.
    facts = Dispatch('Nuvolex.NXVariantCollection')
    facts.Add(rows.Count)
    facts.Add(names.Item(0))
    for fact in facts:
        print(f'fact: {fact}')

    # Indices count from 0, so this one is one too large. The error is DISP_E_EXCEPTION; excepinfo has the rest.
    try:
        names.Item(names.Count)
    except pywintypes.com_error as error:
        _, _, description, _, _, number = error.excepinfo
        print(f'error 0x{number & 0xFFFFFFFF:x}: {description}')

    # Write: Open opens existing files only, Clear creates one (or empties it).
    if not file.Open(new_file, False):
        print('a new file')
    file.Clear()
    file.Open(new_file, False)
    written = sum(1 for name in names if file.WriteLine(name))

    # Read back. The extra empty line after the last line end is not counted.
    file.Open(new_file, False)
    found = 0
    while not file.IsEOF():
        found += file.ReadNextLine() != ''
    file.Close()
    print(f'{written} lines written, {found} read back')


main(sys.argv[1], sys.argv[2])
