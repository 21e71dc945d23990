// Nothing here has run this program yet: it is written from the documentation of go-ole 1.2.6.
//
// Go: the time zones that ten countries or more share. The same program as the others in this folder, late-bound.
//
//	go mod init zones
//	go get github.com/go-ole/go-ole@v1.2.6
//	go run zones.go ..\data\zones.tab shared.txt
//
// The first file is read, the second one written.
package main

import (
	"errors"
	"fmt"
	"os"
	"runtime"

	"github.com/go-ole/go-ole"
	"github.com/go-ole/go-ole/oleutil"
)

const many = 10

// check ends the program: no call should fail but the one that run expects to.
func check(err error) {
	if err != nil {
		fmt.Fprintln(os.Stderr, "failed:", err)
		os.Exit(1)
	}
}

func create(class string) *ole.IDispatch {
	unknown, err := oleutil.CreateObject(class)
	check(err)
	defer unknown.Release()
	object, err := unknown.QueryInterface(ole.IID_IDispatch)
	check(err)
	return object
}

// get reads a property, and clears the VARIANT that came: Value has made a Go value of what is in it.
func get(object *ole.IDispatch, property string, arguments ...interface{}) interface{} {
	result, err := oleutil.GetProperty(object, property, arguments...)
	check(err)
	defer result.Clear()
	return result.Value()
}

func call(object *ole.IDispatch, method string, arguments ...interface{}) interface{} {
	result, err := oleutil.CallMethod(object, method, arguments...)
	check(err)
	defer result.Clear()
	return result.Value()
}

func put(object *ole.IDispatch, property string, value interface{}) {
	_, err := oleutil.PutProperty(object, property, value)
	check(err)
}

// each calls visit for each element of a collection, and clears the element.
func each(collection *ole.IDispatch, visit func(element *ole.VARIANT)) {
	check(oleutil.ForEach(collection, func(element *ole.VARIANT) error {
		visit(element)
		return element.Clear()
	}))
}

func run(table, newFile string) {
	// Read: one row a line, split at tabs.
	file := create("Nuvolex.NXFileStream")
	defer file.Release()
	if !call(file, "Open", table, false).(bool) {
		check(errors.New("cannot open " + table))
	}
	rows := create("Nuvolex.NXTokenStringList")
	defer rows.Release()
	for !call(file, "IsEOF").(bool) {
		line := call(file, "ReadNextLine").(string)
		// A comment begins with "#", or is empty like the line after the last line end.
		if !call(file, "IsCommentLine", line).(bool) {
			added, err := oleutil.CallMethod(rows, "AddNew") // a new token string, which is in the list already
			check(err)
			put(added.ToIDispatch(), "Separator", "\t")
			put(added.ToIDispatch(), "Value", line)
			added.Clear() // releases the object; the list has it
		}
	}

	// Split the first column at commas, and collect the names in the third.
	codes := create("Nuvolex.NXTokenString")
	defer codes.Release()
	put(codes, "Separator", ",")
	names := create("Nuvolex.NXStringList")
	defer names.Release()
	each(rows, func(row *ole.VARIANT) {
		put(codes, "Value", get(row.ToIDispatch(), "Token", 0))
		if get(codes, "Count").(int32) >= many {
			call(names, "Add", get(row.ToIDispatch(), "Token", 2))
		}
	})
	fmt.Printf("%d of %d zones are shared by %d countries or more:\n", get(names, "Count"), get(rows, "Count"), many)
	each(names, func(name *ole.VARIANT) { fmt.Println("  " + name.ToString()) })

	// A variant collection holds values of any type.
	facts := create("Nuvolex.NXVariantCollection")
	defer facts.Release()
	call(facts, "Add", get(rows, "Count"))
	call(facts, "Add", get(names, "Item", 0))
	each(facts, func(fact *ole.VARIANT) { fmt.Printf("fact: %v\n", fact.Value()) })

	// Indices count from 0, so this one is one too large. The error is DISP_E_EXCEPTION; what it wraps has the number.
	_, err := oleutil.GetProperty(names, "Item", get(names, "Count"))
	var failure *ole.OleError
	if errors.As(err, &failure) {
		if info, ok := failure.SubError().(ole.EXCEPINFO); ok {
			fmt.Printf("error 0x%x: %s\n", info.SCODE(), failure.Description())
		}
	}

	// Write: Open opens existing files only, Clear creates one (or empties it).
	if !call(file, "Open", newFile, false).(bool) {
		fmt.Println("a new file")
	}
	call(file, "Clear")
	call(file, "Open", newFile, false)
	written := 0
	each(names, func(name *ole.VARIANT) {
		if call(file, "WriteLine", name.ToString()).(bool) {
			written++
		}
	})

	// Read back. The extra empty line after the last line end is not counted.
	call(file, "Open", newFile, false)
	found := 0
	for !call(file, "IsEOF").(bool) {
		if call(file, "ReadNextLine").(string) != "" {
			found++
		}
	}
	call(file, "Close")
	fmt.Printf("%d lines written, %d read back\n", written, found)
}

func main() {
	runtime.LockOSThread() // the objects belong to this thread
	check(ole.CoInitialize(0))
	defer ole.CoUninitialize()
	run(os.Args[1], os.Args[2])
}
