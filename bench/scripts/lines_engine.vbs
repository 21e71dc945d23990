' Writes a file of 2,000 lines and reads it back.
Option Explicit

Const NAME = "build\bench_lines_engine.txt"
Const FOR_READING = 1

Dim file, length, start, round, i, fso
Set fso = CreateObject("Scripting.FileSystemObject")
start = Timer
For round = 1 To CLng(WScript.Arguments(0))
    length = 0
    Set file = fso.CreateTextFile(NAME, True)
    For i = 1 To 2000
        file.WriteLine "line number " & (10000 + i)
    Next
    file.Close

    Set file = fso.OpenTextFile(NAME, FOR_READING)
    Do Until file.AtEndOfStream
        length = length + Len(file.ReadLine)
    Loop
    file.Close
Next
WScript.Echo "Time: " & CLng((Timer - start) * 1000)
fso.DeleteFile NAME
WScript.Echo "Done: " & length
