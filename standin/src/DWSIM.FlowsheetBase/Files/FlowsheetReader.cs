// Builds a flowsheet from DWSIM's XML document, in DWSIM's order: compounds, packages, objects
// with their graphic objects, then the connections. Connections are made from the output
// side, as DWSIM's loader does; the input side gives each port its kind.
using System;
using System.Collections.Generic;
using System.Linq;
using System.Xml.Linq;
using DWSIM.Drawing.SkiaSharp.GraphicObjects;
using DWSIM.Interfaces;
using DWSIM.Interfaces.Enums.GraphicObjects;
using DWSIM.SharedClasses.UnitOperations;
using DWSIM.Thermodynamics.BaseClasses;
using DWSIM.Thermodynamics.PropertyPackages;
using DWSIM.Thermodynamics.Streams;
using DWSIM.UnitOperations.UnitOperations;
using DWSIM.UnitOperations.UnitOperations.Auxiliary;

namespace DWSIM.FlowsheetBase.Files
{
    internal class FlowsheetReader
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

        private void IndexGraphics(XElement section)
        {
            foreach (var g in section.Elements("GraphicObject"))
            {
                string name = Text(g, "Name");
                if (string.IsNullOrEmpty(name)) name = Text(g, "Tag");
                if (string.IsNullOrEmpty(name)) throw Error("a graphic object has neither <Name> nor <Tag>");
                if (_graphicElements.ContainsKey(name)) throw Error("two graphic objects are named '" + name + "'");
                _graphicElements.Add(name, g);
            }
        }

        private static Type ModelledType(string typeName)
        {
            if (typeName.Contains("Streams.MaterialStream")) return typeof(MaterialStream);
            foreach (var asm in new[] { typeof(Heater).Assembly, typeof(MaterialStream).Assembly })
            {
                var t = asm.GetType(typeName, false);
                if (t != null && !t.IsAbstract && typeof(BaseClass).IsAssignableFrom(t)) return t;
            }
            return null;
        }

        private static string ShortName(string typeName)
        {
            int i = typeName.LastIndexOf('.');
            return i < 0 ? typeName : typeName.Substring(i + 1);
        }

        private void ReadObjects(XElement section)
        {
            var used = new HashSet<string>();
            foreach (var o in section.Elements("SimulationObject"))
            {
                string type = Text(o, "Type"), name = Text(o, "Name");
                if (string.IsNullOrEmpty(type)) throw Error("a simulation object has no <Type>");
                if (string.IsNullOrEmpty(name)) throw Error("a simulation object of type " + type + " has no <Name>");
                if (_fs.SimulationObjects.ContainsKey(name)) throw Error("two simulation objects are named '" + name + "'");
                XElement g;
                if (!_graphicElements.TryGetValue(name, out g)) throw Error("simulation object '" + name + "' (" + ShortName(type) + ") has no graphic object of the same name");
                used.Add(name);
                string tag = Text(g, "Tag") ?? "";
                _tags[name] = tag;
                string context = "object '" + tag + "' (" + ShortName(type) + ")";

                var obj = CreateObject(o, type, name, context);
                var go = CreateGraphic(g, obj, name, context);
                obj.GraphicObject = go;
                _fs.SimulationObjects.Add(name, obj);
                _fs.GraphicObjects.Add(name, go);
                _graphics.Add(name, go);
            }
            foreach (var kv in _graphicElements.Where(kv => !used.Contains(kv.Key)))
            {
                _state.Drawings.Add(new XElement(kv.Value));
                _notes.Warn("graphic object '" + (Text(kv.Value, "Tag") ?? kv.Key) + "' (" + (Text(kv.Value, "ObjectType") ?? "?") +
                            ") has no simulation object: kept as a drawing and written back on save");
            }
        }

        private BaseClass CreateObject(XElement o, string type, string name, string context)
        {
            var t = ModelledType(type);
            BaseClass obj;
            if (t == null)
            {
                if (!RuntimeClasses.IsValidName(type)) throw Error(context + ": '" + type + "' is not a class name");
                var u = (UnmodelledUnitOperation)Activator.CreateInstance(RuntimeClasses.Get(type, typeof(UnmodelledUnitOperation)), name, Text(o, "ComponentDescription") ?? "");
                u.SourceElement = new XElement(o);
                _notes.Warn(context + ": " + type + " is not modelled by the stand-in; it was loaded with its tag, position and connections and cannot be calculated");
                obj = u;
            }
            else
            {
                obj = t.GetConstructor(new[] { typeof(string), typeof(string) }) != null
                    ? (BaseClass)Activator.CreateInstance(t, name, "")
                    : (BaseClass)Activator.CreateInstance(t);
            }
            obj.SetFlowsheet(_fs);
            var children = Members.Index(o.Elements());
            Members.Read(children, obj, Members.Readable(obj.GetType(), ObjectIdentity), context, _notes);
            obj.Name = name;

            string ppid = Text(o, "PropertyPackage");
            if (!string.IsNullOrEmpty(ppid))
            {
                IPropertyPackage pp;
                if (_fs.PropertyPackages.TryGetValue(ppid, out pp)) obj.PropertyPackage = pp;
                else _notes.Warn(context + ": its property package '" + ppid + "' is not in the file; the flowsheet's first package is used");
            }

            var ms = obj as MaterialStream;
            if (ms != null) ReadPhases(ms, o, context);
            var sp = obj as Splitter;
            if (sp != null) ReadRatios(sp, o, context);
            var cs = obj as ComponentSeparator;
            if (cs != null) ReadSeparationSpecs(cs, o, context);
            if (!(obj is UnmodelledUnitOperation))
                Origins.Remember(obj, Trimmed(o, FlowsheetWriter.Owned(obj.GetType(), FlowsheetWriter.ObjectSpecials)));
            return obj;
        }

        private void ReadPhases(MaterialStream ms, XElement o, string context)
        {
            ms.AddCompounds(_fs.SelectedCompounds.Values);
            var phases = o.Element("Phases");
            if (phases == null) throw Error(context + ": the material stream has no <Phases>");
            bool overall = false;
            foreach (var ph in phases.Elements("Phase"))
            {
                int id;
                if (!int.TryParse(Text(ph, "ID") ?? "", out id)) throw Error(context + ": a phase has no integer <ID>");
                IPhase phase;
                if (!ms.Phases.TryGetValue(id, out phase)) { _notes.Warn(context + ": phase " + id + " is not one of the stand-in's eight and was skipped"); continue; }
                string where = context + ", phase " + id;
                var listed = new HashSet<string>();
                // DWSIM writes text-only duplicates of Compounds and Properties; the data are in the
                // elements that have children.
                foreach (var ce in ph.Elements("Compounds").SelectMany(x => x.Elements("Compound")))
                {
                    string cname = Text(ce, "Name");
                    ICompound comp;
                    if (cname == null || !phase.Compounds.TryGetValue(cname, out comp))
                        throw Error(where + ": compound '" + cname + "' is not among the file's compounds");
                    if (!listed.Add(cname)) throw Error(where + ": compound '" + cname + "' is listed twice");
                    Members.Read(ce, comp, Members.Readable(comp.GetType(), new[] { "Name" }), where + ", compound '" + cname + "'", _notes);
                }
                if (id == 0)
                {
                    overall = true;
                    var missing = phase.Compounds.Keys.Where(k => !listed.Contains(k)).ToList();
                    if (missing.Count > 0) throw Error(where + ": the overall composition has no entry for " + string.Join(", ", missing));
                }
                var props = Members.Index(ph.Elements("Properties").Where(e => e.HasElements).SelectMany(e => e.Elements()));
                Members.Read(props, phase.Properties, Members.Readable(phase.Properties.GetType(), new string[0]), where, _notes);
            }
            if (!overall) throw Error(context + ": the material stream has no overall phase (ID 0)");
        }

        private double Number(string text, string what)
        {
            double v;
            if (!XmlValues.TryDouble(text, out v)) throw Error(what + " = '" + text + "' is not a number (invariant culture)");
            return v;
        }

        private void ReadRatios(Splitter sp, XElement o, string context)
        {
            List<double> ratios;
            var list = o.Element("SplitRatios");
            var text = Text(o, "Ratios");
            if (list != null)
                ratios = list.Elements("SplitRatio").Select(e => Number(e.Value, context + ": a split ratio")).ToList();
            else if (!string.IsNullOrEmpty(text))
            {
                ratios = text.Split(',').Select(s => Number(s, context + ": a split ratio")).ToList();
                _notes.Warn(context + ": no <SplitRatios> (DWSIM needs it); the ratios were read from <Ratios>");
            }
            else
            {
                _notes.Warn(context + ": no <SplitRatios> (DWSIM needs it); the stand-in's default ratios were kept");
                return;
            }
            sp.Ratios.Clear();
            foreach (var r in ratios) sp.Ratios.Add(r);
            while (sp.Ratios.Count < 3) sp.Ratios.Add(0.0);
        }

        private void ReadSeparationSpecs(ComponentSeparator cs, XElement o, string context)
        {
            var list = o.Element("SeparationSpecs");
            if (list == null) { _notes.Warn(context + ": no <SeparationSpecs> (DWSIM needs it); the separator has no specs"); return; }
            cs.ComponentSepSpecs.Clear();
            foreach (var s in list.Elements("SeparationSpec"))
            {
                string comp = (string)s.Attribute("CompID") ?? "", key = (string)s.Attribute("ID");
                if (string.IsNullOrEmpty(key)) key = comp;
                string kind = (string)s.Attribute("SepSpec") ?? "";
                object sepSpec;
                if (!Members.TryParse(kind, typeof(SeparationSpec), out sepSpec))
                    throw Error(context + ": separation spec of '" + comp + "' has SepSpec '" + kind + "' (expected " + string.Join(", ", Enum.GetNames(typeof(SeparationSpec))) + ")");
                double value = Number((string)s.Attribute("SpecValue") ?? "", context + ": SpecValue of '" + comp + "'");
                cs.ComponentSepSpecs[key] = new ComponentSeparationSpec(comp, (SeparationSpec)sepSpec, value, (string)s.Attribute("SpecUnit") ?? "");
            }
        }

        private static List<XElement> Connectors(XElement g, string list)
        {
            var e = g.Element(list);
            return e == null ? new List<XElement>() : e.Elements("Connector").ToList();
        }

        private static bool Attached(XElement c)
        {
            bool b;
            var a = c.Attribute("IsAttached");
            return a != null && XmlValues.TryBool(a.Value, out b) && b;
        }

        private static ConType Kind(XElement c, ConType fallback)
        {
            object k;
            var a = c.Attribute("ConnType");
            return a != null && Members.TryParse(a.Value, typeof(ConType), out k) ? (ConType)k : fallback;
        }

        private GraphicObject CreateGraphic(XElement g, BaseClass obj, string name, string context)
        {
            string type = Text(g, "Type");
            if (string.IsNullOrEmpty(type)) throw Error(context + ": its graphic object has no <Type>");
            string objectType = Text(g, "ObjectType");
            object ot;
            if (objectType == null || !Members.TryParse(objectType, typeof(ObjectType), out ot))
                throw Error(context + ": its graphic object has ObjectType '" + objectType + "', which is not an object type");
            foreach (var axis in new[] { "X", "Y" })
            {
                float f;
                string v = Text(g, axis);
                if (v == null) throw Error(context + ": its graphic object has no <" + axis + "> position");
                if (!XmlValues.TrySingle(v, out f)) throw Error(context + ": its graphic object has " + axis + " = '" + v + "', which is not a number (invariant culture)");
            }

            var inputs = Connectors(g, "InputConnectors");
            var outputs = Connectors(g, "OutputConnectors");
            var t = typeof(GraphicObject).Assembly.GetType(type, false);
            GraphicObject go;
            if (t != null && !t.IsAbstract && typeof(GraphicObject).IsAssignableFrom(t))
                go = (GraphicObject)Activator.CreateInstance(t);
            else
            {
                if (!RuntimeClasses.IsValidName(type)) throw Error(context + ": graphic type '" + type + "' is not a class name");
                var u = (UnmodelledGraphic)Activator.CreateInstance(RuntimeClasses.Get(type, typeof(UnmodelledGraphic)));
                u.InputKinds = inputs.Select(c => Kind(c, ConType.ConIn)).ToList();
                u.OutputKinds = outputs.Select(c => Kind(c, ConType.ConOut)).ToList();
                u.EnergyConnectorActive = Connectors(g, "EnergyConnector").Any(Attached);
                go = u;
            }
            Members.Read(g, go, Members.Readable(go.GetType(), new[] { "Name" }), context, _notes);
            go.Name = name;
            go.Owner = obj;
            go.PositionConnectors();
            // Ports beyond the class's own (e.g. a DWSIM 10 vessel's relief and heat outlets) are
            // added when the file connects them.
            Extend(go.InputConnectors, inputs, ConType.ConIn);
            Extend(go.OutputConnectors, outputs, ConType.ConOut);
            if (!(go is UnmodelledGraphic)) Origins.Remember(go, Trimmed(g, FlowsheetWriter.Owned(go.GetType(), FlowsheetWriter.GraphicSpecials)));
            return go;
        }

        private static void Extend(List<IConnectionPoint> ports, List<XElement> file, ConType fallback)
        {
            int last = file.FindLastIndex(Attached);
            for (int i = ports.Count; i <= last; i++)
                ports.Add(new ConnectionPoint { Type = Kind(file[i], fallback), ConnectorName = "" });
        }

        private string Tag(string name) { string t; return _tags.TryGetValue(name, out t) ? "'" + t + "'" : "'" + name + "'"; }

        private static bool IsStream(IGraphicObject g)
        {
            return g.ObjectType == ObjectType.MaterialStream || g.ObjectType == ObjectType.EnergyStream;
        }

        private IGraphicObject Target(XElement c, string where)
        {
            string id = (string)c.Attribute("AttachedToObjID");
            IGraphicObject to;
            if (string.IsNullOrEmpty(id) || !_graphics.TryGetValue(id, out to))
                throw Error(where + " points at '" + id + "', which is not an object of the file");
            return to;
        }

        private int Index(XElement c, string attribute, string where, int fallback)
        {
            var a = c.Attribute(attribute);
            if (a == null) return fallback;
            int i;
            if (!int.TryParse(a.Value.Trim(), out i)) throw Error(where + ": " + attribute + " = '" + a.Value + "' is not an integer");
            return i;
        }

        private void Join(IGraphicObject from, IConnectionPoint fromPort, int fromIndex, IGraphicObject to, int toIndex, string where)
        {
            if (toIndex < 0 || toIndex >= to.InputConnectors.Count)
                throw Error(where + " points at input port " + toIndex + " of " + Tag(to.Name) + ", which has " + to.InputConnectors.Count + " input ports");
            var toPort = to.InputConnectors[toIndex];
            if (toPort.IsAttached)
                throw Error(where + " points at input port " + toIndex + " of " + Tag(to.Name) + ", which is already fed by " + Tag(toPort.AttachedConnector.AttachedFrom.Name));
            if (IsStream(from) == IsStream(to))
                throw Error(where + " joins " + Tag(from.Name) + " to " + Tag(to.Name) + " directly: a connection must join a stream and a unit");
            bool energyFeed = from.ObjectType == ObjectType.EnergyStream;
            if (energyFeed != (toPort.Type == ConType.ConEn))
                throw Error(where + ": input port " + toIndex + " of " + Tag(to.Name) + " is a " + toPort.Type + " port and cannot take " +
                            (energyFeed ? "an energy stream" : "a material connection"));
            var con = new ConnectorGraphic
            {
                AttachedFrom = from, AttachedTo = to,
                AttachedFromConnectorIndex = fromIndex, AttachedToConnectorIndex = toIndex,
                AttachedFromEnergy = fromPort.IsEnergyConnector, AttachedToEnergy = toPort.Type == ConType.ConEn
            };
            fromPort.AttachedConnector = con; fromPort.IsAttached = true;
            toPort.AttachedConnector = con; toPort.IsAttached = true;
        }

        private void Connect()
        {
            // Input side: each port's kind, and where the file says it is fed from.
            var expected = new Dictionary<string, string>();
            foreach (var kv in _graphics)
            {
                var inputs = Connectors(_graphicElements[kv.Key], "InputConnectors");
                for (int j = 0; j < inputs.Count && j < kv.Value.InputConnectors.Count; j++)
                {
                    if (!Attached(inputs[j])) continue;
                    var port = kv.Value.InputConnectors[j];
                    port.Type = Kind(inputs[j], port.Type);
                    expected[kv.Key + "|" + j] = (string)inputs[j].Attribute("AttachedFromObjID") + "|" + (string)inputs[j].Attribute("AttachedFromConnIndex");
                }
            }
            // Output side: the connections themselves.
            var made = new HashSet<string>();
            foreach (var kv in _graphics)
            {
                var from = kv.Value;
                var el = _graphicElements[kv.Key];
                var outputs = Connectors(el, "OutputConnectors");
                for (int k = 0; k < outputs.Count; k++)
                {
                    if (!Attached(outputs[k])) continue;
                    string where = "output port " + k + " of " + Tag(kv.Key);
                    var to = Target(outputs[k], where);
                    int j = Index(outputs[k], "AttachedToConnIndex", where, 0);
                    Join(from, from.OutputConnectors[k], k, to, j, where);
                    string said;
                    if (!expected.TryGetValue(to.Name + "|" + j, out said) || said != kv.Key + "|" + k)
                        _notes.Warn(where + " feeds input port " + j + " of " + Tag(to.Name) + ", whose own entry does not name it; connected from the output side, as DWSIM does");
                    made.Add(to.Name + "|" + j);
                }
                foreach (var c in Connectors(el, "EnergyConnector").Where(Attached))
                {
                    string where = "the energy connector of " + Tag(kv.Key);
                    // DWSIM 10 also lets e.g. a vessel send heat out this way; the connection is kept.
                    if (!from.EnergyConnector.Active)
                    {
                        from.EnergyConnector.Active = true;
                        _notes.Warn(where + " is connected, but the stand-in's " + ShortName(from.Owner.GetType().FullName) +
                                    " does not use its energy connector; the connection is kept and not calculated");
                    }
                    var to = Target(c, where);
                    int j = Index(c, "AttachedToConnIndex", where, 0);
                    if (from.EnergyConnector.IsAttached) throw Error(where + " is connected twice");
                    Join(from, from.EnergyConnector, -1, to, j, where);
                    made.Add(to.Name + "|" + j);
                }
            }
            foreach (var kv in expected.Where(kv => !made.Contains(kv.Key)))
            {
                var parts = kv.Key.Split('|');
                _notes.Warn("input port " + parts[1] + " of " + Tag(parts[0]) + " names " + Tag(kv.Value.Split('|')[0]) +
                            " as its source, but no output of that object leads to it; the connection was dropped, as DWSIM does");
            }
        }
    }
}
