// Builds a flowsheet from DWSIM's XML document, in DWSIM's order: compounds, packages, objects
// with their graphic objects, then the connections. This part reads the document's sections,
// the compounds and the property packages.
using System;
using System.Collections.Generic;
using System.Linq;
using System.Xml.Linq;
using DWSIM.Interfaces;
using DWSIM.Thermodynamics.BaseClasses;
using DWSIM.Thermodynamics.PropertyPackages;

namespace DWSIM.FlowsheetBase.Files
{
    internal partial class FlowsheetReader
    {
        private static readonly string[] ObjectIdentity = { "Name", "ComponentName" };
        private static readonly string[] Modelled = { "GeneralInfo", "SimulationObjects", "GraphicObjects", "PropertyPackages", "Compounds" };

        // Element renames for files older than DWSIM 5 (Portuguese names).
        private static readonly Dictionary<string, string> LegacyNames = new Dictionary<string, string>
        {
            { "Nome", "Name" }, { "TipoObjeto", "ObjectType" }, { "Descricao", "Description" }, { "Tipo", "Type" },
            { "FracaoMolar", "MoleFraction" }, { "FracaoMassica", "MassFraction" }, { "FracaoDePetroleo", "PetroleumFraction" }
        };

        private readonly IFlowsheet _fs;
        private readonly LoadNotes _notes;
        private readonly FileState _state = new FileState();
        private readonly Dictionary<string, XElement> _graphicElements = new Dictionary<string, XElement>();
        private readonly Dictionary<string, IGraphicObject> _graphics = new Dictionary<string, IGraphicObject>();
        private readonly Dictionary<string, string> _tags = new Dictionary<string, string>();

        private FlowsheetReader(IFlowsheet fs, LoadNotes notes) { _fs = fs; _notes = notes; }

        public static void Read(IFlowsheet fs, XDocument doc, LoadNotes notes, string source)
        {
            var r = new FlowsheetReader(fs, notes);
            r.Run(doc);
            r._state.Source = source;
            r._state.Warnings.AddRange(notes.Warnings);
            Origins.Attach(fs, r._state);
        }

        private static string Text(XElement parent, string name)
        {
            var e = parent.Element(name);
            return e == null ? null : e.Value;
        }

        private FlowsheetFileException Error(string text) { return _notes.Error(text); }

        private XElement Required(XElement root, string name)
        {
            var e = root.Element(name);
            if (e == null) throw Error("the file has no <" + name + "> section");
            return e;
        }

        private void Run(XDocument doc)
        {
            var root = doc.Root;
            if (root == null || root.Name.LocalName != "DWSIM_Simulation_Data")
                throw Error("the root element is <" + (root == null ? "" : root.Name.LocalName) + ">, not <DWSIM_Simulation_Data>: this is not a DWSIM flowsheet");
            UpgradeOldFile(root);
            var objects = Required(root, "SimulationObjects");
            var graphics = Required(root, "GraphicObjects");
            var compounds = Required(root, "Compounds");
            var packages = Required(root, "PropertyPackages");
            foreach (var name in new[] { "Settings", "ReactionSets", "Reactions" })
                if (root.Element(name) == null) _notes.Warn("the file has no <" + name + "> section, which DWSIM needs to open it");

            ReadCompounds(compounds);
            ReadPackages(packages);
            IndexGraphics(graphics);
            ReadObjects(objects);
            Connect();
            foreach (var e in root.Elements().Where(e => !Modelled.Contains(e.Name.LocalName)))
                _state.Sections.Add(new XElement(e));
        }

        private void UpgradeOldFile(XElement root)
        {
            var info = root.Element("GeneralInfo");
            string build = info == null ? null : Text(info, "BuildVersion");
            Version v = null;
            if (build != null && !Version.TryParse(build.Trim(), out v))
                throw Error("GeneralInfo/BuildVersion '" + build + "' is not a version number");
            if (v == null || v.Major < 5)
                foreach (var e in root.Descendants().Where(e => LegacyNames.ContainsKey(e.Name.LocalName)).ToList())
                    e.Name = LegacyNames[e.Name.LocalName];
            string classic = info == null ? null : Text(info, "SavedFromClassicUI");
            bool isClassic;
            if (classic != null && !XmlValues.TryBool(classic, out isClassic))
                throw Error("GeneralInfo/SavedFromClassicUI '" + classic + "' is not true or false");
            if (classic == null || XmlValues.TryBool(classic, out isClassic) && isClassic)
            {
                const string old = "DWSIM.DrawingTools.GraphicObjects.", now = "DWSIM.Drawing.SkiaSharp.GraphicObjects.Shapes.";
                var graphics = root.Element("GraphicObjects");
                if (graphics != null)
                    foreach (var t in graphics.Elements("GraphicObject").Select(g => g.Element("Type")).Where(t => t != null && t.Value.StartsWith(old)))
                        t.Value = now + t.Value.Substring(old.Length);
            }
        }

        // Compounds the stand-in's database knows are taken from it (its constants are what it
        // calculates with); others are built from the file's constants and have no property data.
        private void ReadCompounds(XElement section)
        {
            var seen = new HashSet<string>();
            var ownNames = new HashSet<string>(Members.Plain(typeof(ConstantProperties)).Select(p => p.Name)) { "Type" };
            foreach (var c in section.Elements("Compound"))
            {
                string name = Text(c, "Name");
                if (string.IsNullOrEmpty(name)) throw Error("a compound in <Compounds> has no <Name>");
                if (!seen.Add(name)) throw Error("compound '" + name + "' is listed twice in <Compounds>");
                if (_fs.AvailableCompounds != null && _fs.AvailableCompounds.ContainsKey(name))
                {
                    _fs.AddCompound(name);
                }
                else
                {
                    var k = new ConstantProperties();
                    Members.Read(c, k, Members.Readable(typeof(ConstantProperties), new string[0]), "compound '" + name + "'", _notes);
                    k.Name = name;
                    _fs.SelectedCompounds.Add(name, k);
                    if (!k.HasPropertyData)
                        _notes.Warn("compound '" + name + "' is not in the stand-in's database: its name, CAS number and constants come from the file, and it has no property data to calculate with");
                }
                // A DWSIM compound carries its full constant set; keep it to write it back.
                if (c.Elements().Any(e => !ownNames.Contains(e.Name.LocalName))) _state.Compounds[name] = new XElement(c);
            }
        }

        private PropertyPackage Template(string componentName, string type)
        {
            var available = _fs.AvailablePropertyPackages;
            if (available == null) return null;
            if (!string.IsNullOrEmpty(componentName) && available.ContainsKey(componentName))
                return (PropertyPackage)_fs.CreatePropertyPackage(componentName);
            if (string.IsNullOrEmpty(componentName))
            {
                var byType = available.Values.FirstOrDefault(p => p.GetType().FullName == type);
                if (byType != null) return (PropertyPackage)byType.Clone();
            }
            return null;
        }

        private void ReadPackages(XElement section)
        {
            foreach (var p in section.Elements("PropertyPackage"))
            {
                string type = Text(p, "Type"), name = Text(p, "ComponentName") ?? "", id = Text(p, "ID");
                if (string.IsNullOrEmpty(type)) throw Error("a property package has no <Type>");
                string context = "property package '" + (name.Length > 0 ? name : type) + "'";
                var pp = Template(name, type);
                if (pp == null)
                {
                    if (!RuntimeClasses.IsValidName(type)) throw Error(context + ": '" + type + "' is not a class name");
                    var u = (UnmodelledPropertyPackage)Activator.CreateInstance(RuntimeClasses.Get(type, typeof(UnmodelledPropertyPackage)));
                    u.SourceElement = new XElement(p);
                    u.ComponentName = name;
                    pp = u;
                    _notes.Warn(context + " (" + type + ") is not modelled by the stand-in: it was loaded under its own class and calculates with the stand-in's ideal-solution model");
                }
                Members.Read(p, pp, Members.Readable(pp.GetType(), new[] { "UniqueID" }), context, _notes);
                if (string.IsNullOrEmpty(id) || _fs.PropertyPackages.ContainsKey(id))
                {
                    string fresh = "PP-" + Guid.NewGuid();
                    _notes.Warn(context + ": its ID '" + id + "' is empty or used twice; it was given " + fresh);
                    id = fresh;
                }
                pp.UniqueID = id;
                if (!(pp is UnmodelledPropertyPackage))
                {
                    InteractionParameters.Read(pp, p, context, _notes);
                    Origins.Remember(pp, Trimmed(p, FlowsheetWriter.OwnedByPackage(pp)));
                }
                _fs.AddPropertyPackage(pp);
            }
        }

        // Only the children the stand-in does not hold, detached from the document; proxies are
        // kept as markers, a save writes them with their member's value.
        private static XElement Trimmed(XElement e, ICollection<string> owned)
        {
            return new XElement(e.Name, e.Elements()
                .Where(c => !owned.Contains(c.Name.LocalName) || Members.Proxies.ContainsKey(c.Name.LocalName))
                .Select(c => new XElement(c)));
        }
    }
}
