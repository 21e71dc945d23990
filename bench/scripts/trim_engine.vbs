' Trims 10,000 lines and cuts a column of 8 characters out of each.
Option Explicit

Dim line, length, start, round, i
start = Timer
For round = 1 To CLng(WScript.Arguments(0))
    length = 0
    For i = 1 To 10000
        line = "    name    0123456789    "
        line = Trim(line)
        length = length + Len(Mid(line, 9, 8))
    Next
Next
WScript.Echo "Time: " & CLng((Timer - start) * 1000)
WScript.Echo "Done: " & length
