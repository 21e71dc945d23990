' The least that a script with a dictionary can do.
Option Explicit

Dim dictionary
Set dictionary = CreateObject("Scripting.Dictionary")
WScript.Echo "Done: " & dictionary.Count
