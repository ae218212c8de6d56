// Graphic objects and connections. Connections are made from the output side, as DWSIM's
// loader does; the input side gives each port its kind.
using System;
using System.Collections.Generic;
using System.Linq;
using System.Xml.Linq;
using DWSIM.Drawing.SkiaSharp.GraphicObjects;
using DWSIM.Interfaces;
using DWSIM.Interfaces.Enums.GraphicObjects;
using DWSIM.SharedClasses.UnitOperations;

namespace DWSIM.FlowsheetBase.Files
{
    internal partial class FlowsheetReader
    {
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
