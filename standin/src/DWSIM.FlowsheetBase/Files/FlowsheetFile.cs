// Saving and loading flowsheet files. The extension decides the form, as in DWSIM:
// .dwxmz = zip holding one <guid>.xml, .dwxml = the same XML uncompressed; on load, an
// extension ending in "z" means zip and anything else plain XML.
using System;
using System.IO;
using System.Linq;
using System.Xml;
using System.Xml.Linq;
using DWSIM.Interfaces;

namespace DWSIM.FlowsheetBase.Files
{
    public static class FlowsheetFile
    {
        // Writes nothing, and raises nothing, for extensions DWSIM does not save to.
        public static void Save(IFlowsheet flowsheet, string path)
        {
            if (flowsheet == null) throw new ArgumentNullException("flowsheet");
            if (string.IsNullOrEmpty(path)) throw new ArgumentException("no file path given", "path");
            string ext = Path.GetExtension(path).ToLowerInvariant();
            if (ext == ".xml")
                throw new NotSupportedException("The stand-in does not write DWSIM's mobile form (.xml); save as .dwxmz or .dwxml.");
            if (ext != ".dwxmz" && ext != ".dwxml") return;
            byte[] xml = FlowsheetWriter.Bytes(FlowsheetWriter.Build(flowsheet));
            // Everything is built in memory first: a failure leaves any existing file untouched.
            File.WriteAllBytes(path, ext == ".dwxmz" ? ZipContainer.Build(Guid.NewGuid() + ".xml", xml, DateTime.Now) : xml);
        }

        public static XDocument ToXml(IFlowsheet flowsheet) { return FlowsheetWriter.Build(flowsheet); }

        // Fills `fresh` (a new, empty flowsheet) from the file. On any error the exception says
        // what is wrong and where; the caller then drops the flowsheet.
        public static void Load(IFlowsheet fresh, string path)
        {
            if (fresh == null) throw new ArgumentNullException("fresh");
            if (string.IsNullOrEmpty(path)) throw new ArgumentException("no file path given", "path");
            if (!File.Exists(path)) throw new FileNotFoundException("Flowsheet file not found: " + path, path);
            var notes = new LoadNotes("'" + path + "'");
            byte[] bytes = File.ReadAllBytes(path);
            byte[] xml;
            if (Path.GetExtension(path).ToLowerInvariant().EndsWith("z"))
            {
                System.Collections.Generic.List<ZipEntryData> entries;
                try { entries = ZipContainer.ReadEntries(bytes); }
                catch (InvalidDataException ex) { throw notes.Error(ex.Message, ex); }
                var named = entries.Where(e => Path.GetFileName(e.Name.Replace('\\', '/')).Length > 0).ToList();
                var xmls = named.Where(e => Path.GetExtension(e.Name).Equals(".xml", StringComparison.OrdinalIgnoreCase)).ToList();
                if (xmls.Count == 0)
                    throw notes.Error("the zip archive holds no .xml entry (entries: " +
                                      (named.Count == 0 ? "none" : string.Join(", ", named.Select(e => e.Name))) + ")");
                if (named.Count > 1)
                    notes.Warn("the archive holds " + named.Count + " entries (" + string.Join(", ", named.Select(e => e.Name)) +
                               "); the last .xml entry, '" + xmls.Last().Name + "', was read, as DWSIM does");
                xml = xmls.Last().Data;
            }
            else xml = bytes;
            FromXml(fresh, Parse(xml, notes), notes, "'" + path + "'");
        }

        private static XDocument Parse(byte[] xml, LoadNotes notes)
        {
            if (xml.Length == 0) throw notes.Error("the XML document is empty");
            try
            {
                using (var ms = new MemoryStream(xml)) return XDocument.Load(ms);
            }
            catch (XmlException ex)
            {
                throw notes.Error("the XML is not well-formed: " + ex.Message, ex);
            }
        }

        public static void FromXml(IFlowsheet fresh, XDocument doc, string source = "the document")
        {
            var notes = new LoadNotes(source);
            FromXml(fresh, doc, notes, source);
        }

        private static void FromXml(IFlowsheet fresh, XDocument doc, LoadNotes notes, string source)
        {
            if (fresh.SimulationObjects.Count > 0 || fresh.SelectedCompounds.Count > 0 || fresh.PropertyPackages.Count > 0)
                throw new ArgumentException("a file is loaded into a new, empty flowsheet");
            try
            {
                FlowsheetReader.Read(fresh, doc, notes, source);
            }
            catch (FlowsheetFileException) { throw; }
            catch (Exception ex)
            {
                // Anything the checks above did not foresee still names the file.
                throw notes.Error(ex.GetType().Name + ": " + ex.Message, ex);
            }
        }

        // What the last load noticed but did not refuse: classes the stand-in does not model,
        // values it cannot hold, repairs DWSIM itself would make. Empty for flowsheets not loaded.
        public static string[] LoadWarnings(IFlowsheet flowsheet)
        {
            var s = Origins.Of(flowsheet);
            return s == null ? new string[0] : s.Warnings.ToArray();
        }
    }
}
