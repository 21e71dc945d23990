' Writes a file of 2,000 lines and reads it back.
Option Explicit

Const NAME = "build\bench_lines_ours.txt"

Dim file, length, i
Set file = CreateObject("Nuvolex.NXFileStream")
file.Open NAME, False ' keeps the name, so that Clear can create the file
file.Clear
file.Open NAME, False
For i = 1 To 2000
    file.WriteLine "line number " & (10000 + i)
Next
file.Close

file.Open NAME, False
Do Until file.IsEOF
    length = length + Len(file.ReadNextLine)
Loop
file.Close
CreateObject("Scripting.FileSystemObject").DeleteFile NAME
WScript.Echo "Done: " & length
