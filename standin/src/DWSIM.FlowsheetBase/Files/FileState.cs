// What a load keeps beside the flowsheet's own objects: the notes about the file, and the
// parts of a DWSIM file the stand-in does not model, so that saving writes them back.
using System;
using System.Collections.Generic;
using System.IO;
using System.Runtime.CompilerServices;
using System.Xml.Linq;
using DWSIM.Interfaces;

namespace DWSIM.FlowsheetBase.Files
{
    // Every load or save failure: the file and what is wrong with it, in one message.
    public class FlowsheetFileException : Exception
    {
        public FlowsheetFileException(string message, Exception inner = null) : base(message, inner) { }
    }

    public class LoadNotes
    {
        private readonly string _source;
        private readonly List<string> _warnings = new List<string>();

        public LoadNotes(string source) { _source = source; }

        public IList<string> Warnings { get { return _warnings; } }

        public void Warn(string text) { _warnings.Add(text); }

        public FlowsheetFileException Error(string text, Exception inner = null)
        {
            return new FlowsheetFileException("Cannot load " + _source + ": " + text, inner);
        }
    }

    internal class FileState
    {
        public readonly List<string> Warnings = new List<string>();
        public string Source = "";
        // Top-level sections the stand-in does not model, by element name, in file order.
        public readonly List<XElement> Sections = new List<XElement>();
        // Compound elements with DWSIM's full constant set, by compound name.
        public readonly Dictionary<string, XElement> Compounds = new Dictionary<string, XElement>();
        // Graphic objects without a simulation object (tables, texts, images).
        public readonly List<XElement> Drawings = new List<XElement>();
    }

    internal static class Origins
    {
        private static readonly ConditionalWeakTable<IFlowsheet, FileState> States = new ConditionalWeakTable<IFlowsheet, FileState>();
        // The element each loaded object came from, for members the stand-in does not hold.
        private static readonly ConditionalWeakTable<object, XElement> Elements = new ConditionalWeakTable<object, XElement>();

        public static FileState Of(IFlowsheet fs)
        {
            FileState s;
            return States.TryGetValue(fs, out s) ? s : null;
        }

        public static void Attach(IFlowsheet fs, FileState state)
        {
            States.Remove(fs);
            States.Add(fs, state);
        }

        public static void Remember(object obj, XElement el)
        {
            Elements.Remove(obj);
            Elements.Add(obj, el);
        }

        public static XElement Element(object obj)
        {
            XElement el;
            return obj != null && Elements.TryGetValue(obj, out el) ? el : null;
        }
    }
}
