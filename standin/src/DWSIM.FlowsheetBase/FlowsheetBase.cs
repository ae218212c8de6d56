// The flowsheet: compounds, property packages, objects and their graphic counterparts.
using System;
using System.Collections.Generic;
using System.Linq;
using System.Globalization;
using System.Reflection;
using System.Text.RegularExpressions;
using DWSIM.Drawing.SkiaSharp.GraphicObjects;
using DWSIM.Drawing.SkiaSharp.GraphicObjects.Shapes;
using DWSIM.Interfaces;
using DWSIM.Interfaces.Enums.GraphicObjects;
using DWSIM.SharedClasses.UnitOperations;
using DWSIM.Thermodynamics.Streams;
using DWSIM.UnitOperations.SpecialOps;
using DWSIM.UnitOperations.Streams;
using UO = DWSIM.UnitOperations.UnitOperations;

[assembly: AssemblyVersion("8.8.2.0")]

namespace DWSIM.FlowsheetBase
{
    public abstract partial class FlowsheetBase : IFlowsheet
    {
        // Shared between all flowsheets of the process, as in DWSIM.
        private static Dictionary<string, IPropertyPackage> _availablePPs = new Dictionary<string, IPropertyPackage>();

        private readonly Dictionary<string, ICompoundConstantProperties> _selected = new Dictionary<string, ICompoundConstantProperties>();
        private readonly Dictionary<string, IPropertyPackage> _pps = new Dictionary<string, IPropertyPackage>();
        private readonly Dictionary<string, ISimulationObject> _objects = new Dictionary<string, ISimulationObject>();
        private readonly Dictionary<string, IGraphicObject> _graphics = new Dictionary<string, IGraphicObject>();

        public Dictionary<string, ICompoundConstantProperties> AvailableCompounds { get; set; } = new Dictionary<string, ICompoundConstantProperties>();

        public Dictionary<string, IPropertyPackage> AvailablePropertyPackages
        {
            get { return _availablePPs; }
            set { _availablePPs = value; }
        }

        public Dictionary<string, ICompoundConstantProperties> SelectedCompounds { get { return _selected; } }
        public Dictionary<string, IPropertyPackage> PropertyPackages { get { return _pps; } }
        public Dictionary<string, ISimulationObject> SimulationObjects { get { return _objects; } }
        public Dictionary<string, IGraphicObject> GraphicObjects { get { return _graphics; } }

        // Streams copy the selection when created: add compounds first.
        public ICompoundConstantProperties AddCompound(string compname)
        {
            var c = AvailableCompounds[compname];
            _selected.Add(c.Name, c);
            return c;
        }

        public IPropertyPackage CreatePropertyPackage(string name)
        {
            return (IPropertyPackage)AvailablePropertyPackages[name].Clone();
        }

        public IPropertyPackage CreateAndAddPropertyPackage(string name)
        {
            var pp = CreatePropertyPackage(name);
            pp.Tag = ((Thermodynamics.PropertyPackages.PropertyPackage)pp).ComponentName;
            AddPropertyPackage(pp);
            return pp;
        }

        public void AddPropertyPackage(IPropertyPackage pp)
        {
            pp.Flowsheet = this;
            _pps.Add(pp.UniqueID, pp);
        }

        public List<string> GetAvailablePropertyPackages() { return AvailablePropertyPackages.Keys.ToList(); }

        public ISimulationObject AddObject(ObjectType t, int xcoord, int ycoord, string tag)
        {
            return AddObject(t, xcoord, ycoord, "", tag);
        }

        public ISimulationObject AddObject(ObjectType t, int xcoord, int ycoord, string id, string tag)
        {
            string prefix, tagPrefix;
            BaseClass obj;
            GraphicObject go;
            switch (t)
            {
                case ObjectType.MaterialStream:
                    prefix = "MAT-"; tagPrefix = ""; obj = new MaterialStream(); go = new MaterialStreamGraphic(); break;
                case ObjectType.EnergyStream:
                    prefix = "EN-"; tagPrefix = "E"; obj = new EnergyStream(); go = new EnergyStreamGraphic(); break;
                case ObjectType.NodeIn: case ObjectType.Mixer:
                    prefix = "MIST-"; tagPrefix = "MIX-"; obj = new UO.Mixer(); go = new MixerGraphic(); break;
                case ObjectType.NodeOut: case ObjectType.Splitter:
                    prefix = "DIV-"; tagPrefix = "SPL-"; obj = new UO.Splitter(); go = new SplitterGraphic(); break;
                case ObjectType.ComponentSeparator:
                    prefix = "CS-"; tagPrefix = "CS-"; obj = new UO.ComponentSeparator(); go = new ComponentSeparatorGraphic(); break;
                case ObjectType.Heater:
                    prefix = "AQ-"; tagPrefix = "HT-"; obj = new UO.Heater(); go = new HeaterGraphic(); break;
                case ObjectType.Cooler:
                    prefix = "RESF-"; tagPrefix = "CL-"; obj = new UO.Cooler(); go = new CoolerGraphic(); break;
                case ObjectType.Vessel:
                    prefix = "SEP-"; tagPrefix = "V-"; obj = new UO.Vessel(); go = new VesselGraphic(); break;
                case ObjectType.Pump:
                    prefix = "BB-"; tagPrefix = "PUMP-"; obj = new UO.Pump(); go = new PumpGraphic(); break;
                case ObjectType.Compressor:
                    prefix = "COMP-"; tagPrefix = "C-"; obj = new UO.Compressor(); go = new CompressorGraphic(); break;
                case ObjectType.Valve:
                    prefix = "VALV-"; tagPrefix = "VALVE-"; obj = new UO.Valve(); go = new ValveGraphic(); break;
                case ObjectType.OT_Recycle:
                    prefix = "REC-"; tagPrefix = "R-"; obj = new Recycle(); go = new RecycleGraphic(); break;
                default:
                    throw new NotSupportedException("The stand-in cannot create objects of type " + t + ".");
            }
            string name = string.IsNullOrEmpty(id) ? prefix + Guid.NewGuid().ToString() : id;
            if (_objects.ContainsKey(name)) throw new ArgumentException("An object with id '" + name + "' already exists.");
            var index = Tags();
            // The default tag numbers the objects of this class, as DWSIM counts them.
            go.Tag = CheckTag(string.IsNullOrEmpty(tag) ? tagPrefix + (index.CountOf(obj.GetType()) + 1) : tag);
            go.Name = name;
            go.X = xcoord; go.Y = ycoord;
            go.Owner = obj;
            go.PositionConnectors();
            obj.Name = name;
            obj.GraphicObject = go;
            obj.SetFlowsheet(this);
            var ms = obj as MaterialStream;
            if (ms != null) ms.AddCompounds(_selected.Values);
            _objects.Add(name, obj);
            _graphics.Add(name, go);
            index.Added(obj, go);
            return obj;
        }

        // DWSIM adds 1 to every run of digits while the tag is taken (F-09 -> F-10, S-99 ->
        // S-100), case-sensitively. A taken tag without digits would loop forever there; here it
        // is refused. A run too large for Int32 overflows, as in DWSIM.
        public string CheckTag(string tag)
        {
            var index = Tags();
            while (index.Has(tag))
            {
                if (!Digits.IsMatch(tag))
                    throw new ArgumentException("The tag '" + tag + "' is already in use and has no digits to increment: DWSIM would hang here; choose a unique tag.");
                tag = Digits.Replace(tag, m => checked(int.Parse(m.Value, CultureInfo.InvariantCulture) + 1)
                    .ToString(CultureInfo.InvariantCulture).PadLeft(m.Value.Length, '0'));
            }
            return tag;
        }

        private static readonly Regex Digits = new Regex("[0-9]+");

        public ISimulationObject GetFlowsheetSimulationObject(string tag)
        {
            return _objects.Values.FirstOrDefault(o => o.GraphicObject != null && o.GraphicObject.Tag == tag);
        }

        private TagIndex _tagIndex;

        // The index, rebuilt when objects came or went other than through AddObject (a load
        // fills the dictionaries directly).
        private TagIndex Tags()
        {
            if (_tagIndex == null || !_tagIndex.Matches(_objects, _graphics)) _tagIndex = new TagIndex(_objects, _graphics);
            return _tagIndex;
        }
    }
}
