' Collects 10,000 strings, reads each by its index, and enumerates them.
Option Explicit

Dim list, text, length, start, round, i
start = Timer
For round = 1 To CLng(WScript.Arguments(0))
    length = 0
    Set list = CreateObject("Nuvolex.NXStringList")
    For i = 0 To 9999
        list.Add "text number " & (10000 + i)
    Next
    For i = 0 To list.Count - 1
        length = length + Len(list(i)) - 1
    Next
    For Each text In list
        length = length + Len(text) - 1
    Next
Next
WScript.Echo "Time: " & CLng((Timer - start) * 1000)
WScript.Echo "Done: " & length
