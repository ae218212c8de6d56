// Objects of classes the stand-in does not model (columns, reactors, recycles, plug-ins, other
// property packages) still load, so a walk over the flowsheet sees them with their tags, ports
// and connections. Each one gets a class defined at run time under the file's full type name,
// so GetType().Name answers what DWSIM would (e.g. "Recycle", "HeatExchanger").
using System;
using System.Collections.Generic;
using System.Reflection;
using System.Reflection.Emit;
using System.Text.RegularExpressions;
using System.Xml.Linq;
using DWSIM.Drawing.SkiaSharp.GraphicObjects;
using DWSIM.Interfaces.Enums.GraphicObjects;
using DWSIM.UnitOperations.UnitOperations;

namespace DWSIM.FlowsheetBase.Files
{
    public class UnmodelledUnitOperation : UnitOpBaseClass
    {
        public UnmodelledUnitOperation(string name, string description) : base(name, description) { }

        // The object's element as the file had it; written back unchanged on save.
        internal XElement SourceElement { get; set; }

        public string FileTypeName { get { return SourceElement != null ? (string)SourceElement.Element("Type") : GetType().FullName; } }

        // As the file says: the solver starts its order from sources.
        public override bool IsSource
        {
            get
            {
                bool b;
                var e = SourceElement != null ? SourceElement.Element("IsSource") : null;
                return e != null && XmlValues.TryBool(e.Value, out b) && b;
            }
        }

        public override string[] GetCalculationModes() { return new string[0]; }
        public override void SetCalculationMode(int mode) { }

        public override void Calculate(object args = null)
        {
            throw new NotSupportedException(string.Format(
                "{0} is a {1}, which the stand-in does not model: it was loaded from a file with its connections but cannot be calculated.",
                TagOrName, GetType().Name));
        }
    }

    // Ports come from the file: one per connector the file lists, with its kind.
    public class UnmodelledGraphic : ShapeGraphic
    {
        internal List<ConType> InputKinds = new List<ConType>();
        internal List<ConType> OutputKinds = new List<ConType>();
        internal bool EnergyConnectorActive;

        protected override void CreateConnectors()
        {
            foreach (var k in InputKinds) AddInputs(k, "");
            foreach (var k in OutputKinds) OutputConnectors.Add(new ConnectionPoint { Type = k, ConnectorName = "" });
            if (EnergyConnectorActive) ActivateEnergyConnector("Energy Stream");
        }
    }

    public class UnmodelledPropertyPackage : Thermodynamics.PropertyPackages.PropertyPackage
    {
        // The package's element as the file had it; written back unchanged on save.
        internal XElement SourceElement { get; set; }
    }

    internal static class RuntimeClasses
    {
        private static readonly object Gate = new object();
        private static ModuleBuilder _module;
        private static readonly Dictionary<string, Type> Made = new Dictionary<string, Type>();
        private static readonly Regex ValidName = new Regex(@"^[A-Za-z_][A-Za-z0-9_]*(\.[A-Za-z_][A-Za-z0-9_]*)*$");

        public static bool IsValidName(string fullName) { return fullName != null && ValidName.IsMatch(fullName); }

        // A public class named `fullName` deriving from `baseType`, with the base's constructors.
        public static Type Get(string fullName, Type baseType)
        {
            if (!IsValidName(fullName)) throw new ArgumentException("'" + fullName + "' is not a valid class name");
            lock (Gate)
            {
                Type t;
                if (Made.TryGetValue(fullName, out t))
                {
                    if (t.BaseType != baseType)
                        throw new ArgumentException("'" + fullName + "' is used in the file both as " + t.BaseType.Name + " and as " + baseType.Name);
                    return t;
                }
                if (_module == null)
                {
                    var asm = AppDomain.CurrentDomain.DefineDynamicAssembly(new AssemblyName("DWSIM.StandIn.FileClasses"), AssemblyBuilderAccess.Run);
                    _module = asm.DefineDynamicModule("DWSIM.StandIn.FileClasses");
                }
                var tb = _module.DefineType(fullName, TypeAttributes.Public | TypeAttributes.Class, baseType);
                foreach (var baseCtor in baseType.GetConstructors())
                {
                    var ps = Array.ConvertAll(baseCtor.GetParameters(), p => p.ParameterType);
                    var il = tb.DefineConstructor(MethodAttributes.Public, CallingConventions.Standard, ps).GetILGenerator();
                    il.Emit(OpCodes.Ldarg_0);
                    for (int i = 1; i <= ps.Length; i++) il.Emit(OpCodes.Ldarg, i);
                    il.Emit(OpCodes.Call, baseCtor);
                    il.Emit(OpCodes.Ret);
                }
                t = tb.CreateType();
                Made.Add(fullName, t);
                return t;
            }
        }
    }
}
