' Collects 10,000 strings, reads each by its key, and enumerates them.
Option Explicit

Dim dictionary, text, length, start, round, i
start = Timer
For round = 1 To CLng(WScript.Arguments(0))
    length = 0
    Set dictionary = CreateObject("Scripting.Dictionary")
    For i = 0 To 9999
        dictionary.Add CStr(i), "text number " & (10000 + i)
    Next
    For i = 0 To dictionary.Count - 1
        length = length + Len(dictionary(CStr(i))) - 1
    Next
    For Each text In dictionary.Items
        length = length + Len(text) - 1
    Next
Next
WScript.Echo "Time: " & CLng((Timer - start) * 1000)
WScript.Echo "Done: " & length
