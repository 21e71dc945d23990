// C#: the time zones that ten countries or more share. The same program as the others in this folder, late-bound:
// Type.InvokeMember looks each member up by its name. With .NET Framework, or .NET 5 and later, `dynamic` does the same
// with less to write: `dynamic row = rows.AddNew(); row.Separator = "\t";`
//
//     dotnet new console, replace Program.cs with this file
//     dotnet run -- ..\data\zones.tab shared.txt
//
// The first file is read, the second one written.
using System;
using System.Collections;
using System.Globalization;
using System.Reflection;
using System.Runtime.InteropServices;

static class Zones
{
    const int Many = 10;

    static object Create(string name)
    {
        return Activator.CreateInstance(Type.GetTypeFromProgID(name, throwOnError: true));
    }

    /// <summary>Calls a method, or reads a property.</summary>
    static object Call(object target, string member, params object[] arguments)
    {
        const BindingFlags flags = BindingFlags.InvokeMethod | BindingFlags.GetProperty;
        try
        {
            return target.GetType().InvokeMember(member, flags, null, target, arguments, CultureInfo.InvariantCulture);
        }
        catch (TargetInvocationException error) when (error.InnerException != null)
        {
            throw error.InnerException; // a COMException, if the call failed
        }
    }

    static void Put(object target, string property, object value)
    {
        target.GetType().InvokeMember(property, BindingFlags.SetProperty, null, target, new[] { value });
    }

    [STAThread] // the objects belong to the thread that creates them
    static int Main(string[] arguments)
    {
        // Read: one row a line, split at tabs.
        object file = Create("Nuvolex.NXFileStream");
        if (!(bool)Call(file, "Open", arguments[0], false))
        {
            Console.WriteLine("cannot open " + arguments[0]);
            return 1;
        }
        object rows = Create("Nuvolex.NXTokenStringList");
        while (!(bool)Call(file, "IsEOF"))
        {
            var line = (string)Call(file, "ReadNextLine");
            // A comment begins with "#", or is empty like the line after the last line end.
            if (!(bool)Call(file, "IsCommentLine", line))
            {
                object row = Call(rows, "AddNew"); // a new token string, which is in the list already
                Put(row, "Separator", "\t");
                Put(row, "Value", line);
            }
        }

        // Split the first column at commas, and collect the names in the third.
        object codes = Create("Nuvolex.NXTokenString");
        Put(codes, "Separator", ",");
        object names = Create("Nuvolex.NXStringList");
        foreach (object row in (IEnumerable)rows)
        {
            Put(codes, "Value", Call(row, "Token", 0));
            if ((int)Call(codes, "Count") >= Many)
            {
                Call(names, "Add", Call(row, "Token", 2));
            }
        }
        object count = Call(names, "Count");
        Console.WriteLine($"{count} of {Call(rows, "Count")} zones are shared by {Many} countries or more:");
        foreach (object name in (IEnumerable)names)
        {
            Console.WriteLine("  " + name);
        }

        // A variant collection holds values of any type.
        object facts = Create("Nuvolex.NXVariantCollection");
        Call(facts, "Add", Call(rows, "Count"));
        Call(facts, "Add", Call(names, "Item", 0));
        foreach (object fact in (IEnumerable)facts)
        {
            Console.WriteLine("fact: " + fact);
        }

        // Indices count from 0, so this one is one too large.
        try
        {
            Call(names, "Item", count);
        }
        catch (COMException error)
        {
            Console.WriteLine($"error 0x{error.HResult:x}: {error.Message}");
        }

        // Write: Open opens existing files only, Clear creates one (or empties it).
        if (!(bool)Call(file, "Open", arguments[1], false))
        {
            Console.WriteLine("a new file");
        }
        Call(file, "Clear");
        Call(file, "Open", arguments[1], false);
        int written = 0;
        foreach (object name in (IEnumerable)names)
        {
            written += (bool)Call(file, "WriteLine", name) ? 1 : 0;
        }

        // Read back. The extra empty line after the last line end is not counted.
        Call(file, "Open", arguments[1], false);
        int found = 0;
        while (!(bool)Call(file, "IsEOF"))
        {
            found += (string)Call(file, "ReadNextLine") != "" ? 1 : 0;
        }
        Call(file, "Close");
        Console.WriteLine($"{written} lines written, {found} read back");
        return 0;
    }
}
