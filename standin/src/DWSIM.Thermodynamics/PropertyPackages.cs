// The six property packages and what they compute (README, "What it calculates"):
// Raoult's Law, Wilson and UNIQUAC an ideal liquid with ideal vapour, NRTL activity
// coefficients from its table, Peng-Robinson and SRK cubic equations of state with their kij
// tables. Activity packages take enthalpy and entropy from Lee-Kesler departures, the cubic
// ones from their own equation.
using System;
using System.Collections.Generic;
using System.Linq;
using DWSIM.GlobalSettings;
using DWSIM.Interfaces;
using DWSIM.Thermodynamics.BaseClasses;
using DWSIM.Thermodynamics.PropertyPackages.Auxiliary;
using DWSIM.Thermodynamics.PropertyPackages.Auxiliary.FlashAlgorithms;

namespace DWSIM.Thermodynamics.PropertyPackages
{
    [Serializable]
    public abstract class PropertyPackage : IPropertyPackage
    {
        protected PropertyPackage()
        {
            UniqueID = "PP-" + Guid.NewGuid().ToString();
            ComponentDescription = "";
        }

        public string ComponentName { get; set; }
        public string ComponentDescription { get; set; }
        public string UniqueID { get; set; }
        public string Tag { get; set; }
        // CAPE-OPEN error name in DWSIM; normally empty.
        public string Name { get { return ""; } }
        public string DisplayName { get; set; }
        [NonSerialized] private IFlowsheet _flowsheet;
        public IFlowsheet Flowsheet { get { return _flowsheet; } set { _flowsheet = value; } }

        [NonSerialized] private IMaterialStream _current;

        // Assigning a stream runs the package's per-stream preparation (NRTL's estimation of
        // missing pairs, the cubic packages' kij matrix), as in DWSIM.
        public IMaterialStream CurrentMaterialStream
        {
            get { return _current; }
            set
            {
                _current = value;
                var ms = value as Streams.MaterialStream;
                if (ms != null) RunPostMaterialStreamSetRoutine(ms.ComponentData);
            }
        }

        public object GetAsObject() { return this; }

        // A fresh instance of the same type (fresh parameter tables) with a new UniqueID.
        public virtual object Clone()
        {
            var pp = (PropertyPackage)Activator.CreateInstance(GetType());
            pp.ComponentName = ComponentName;
            pp.ComponentDescription = ComponentDescription;
            pp.Tag = Tag;
            pp.DisplayName = DisplayName;
            return pp;
        }

        protected virtual void RunPostMaterialStreamSetRoutine(ConstantProperties[] compounds) { }

        // An ideal liquid and vapour unless a package says otherwise (also what packages of
        // types the stand-in does not model calculate with).
        protected virtual PhaseModel Model(ConstantProperties[] compounds) { return new ActivityModel(compounds, null); }

        // Every calculation here stands for a unit handing its stream to the package first.
        private PhaseModel Prepare(ConstantProperties[] c)
        {
            RunPostMaterialStreamSetRoutine(c);
            return Model(c);
        }

        public virtual FlashResult FlashPT(ConstantProperties[] c, double[] z, double T, double P)
        {
            return Flash.PT(Prepare(c), z, T, P);
        }

        public virtual FlashResult FlashPH(ConstantProperties[] c, double[] z, double P, double H, double Tguess)
        {
            return Flash.PH(Prepare(c), z, P, H, Tguess);
        }

        public virtual FlashResult FlashPS(ConstantProperties[] c, double[] z, double P, double S, double Tguess)
        {
            return Flash.PS(Prepare(c), z, P, S, Tguess);
        }

        public virtual FlashResult FlashPVF(ConstantProperties[] c, double[] z, double P, double VF, double Tguess)
        {
            return Flash.PVF(Prepare(c), z, P, VF, Tguess);
        }

        public override string ToString() { return ComponentName; }
    }

    [Serializable]
    public class RaoultPropertyPackage : PropertyPackage
    {
        public RaoultPropertyPackage() { ComponentName = "Raoult's Law"; DisplayName = "Raoult's Law"; }

    }

    [Serializable]
    public class NRTLPropertyPackage : PropertyPackage
    {
        private Auxiliary.NRTL m_act = new Auxiliary.NRTL();

        // The vapour-phase Peng-Robinson table DWSIM's NRTL package carries; the vapour is ideal
        // in the calculation, so it is held and saved but not used.
        public Auxiliary.PengRobinson m_pr = new Auxiliary.PengRobinson();

        public NRTLPropertyPackage() { ComponentName = "NRTL"; DisplayName = "NRTL"; }

        // As in DWSIM the setter keeps the existing model: replace parameters, not the model.
        public Auxiliary.NRTL m_uni
        {
            get { return m_act; }
            set { m_act = m_act ?? value; }
        }

        public bool AutoEstimateMissingNRTLUNIQUACParameters { get; set; } = true;
        public bool ActivityCoefficientModels_IgnoreMissingInteractionParameters { get; set; }

        // DWSIM fits missing pairs to UNIFAC; the stand-in has no UNIFAC and gives those pairs
        // the value DWSIM falls back to when its fit fails (README).
        public const double FallbackEstimate = 1e-10;

        protected override void RunPostMaterialStreamSetRoutine(ConstantProperties[] c)
        {
            if (!AutoEstimateMissingNRTLUNIQUACParameters) return;
            var ip = m_act.InteractionParameters;
            foreach (var a in c) if (!ip.ContainsKey(a.Name)) ip.Add(a.Name, new Dictionary<string, NRTL_IPData>());
            foreach (var a in c)
                foreach (var b in c)
                    if (a.Name != b.Name && !ip[a.Name].ContainsKey(b.Name) && !ip[b.Name].ContainsKey(a.Name))
                        ip[a.Name].Add(b.Name, new NRTL_IPData());
            foreach (var a in c)
                foreach (var b in c)
                {
                    NRTL_IPData d;
                    if (a.Name == b.Name || !ip[a.Name].TryGetValue(b.Name, out d)) continue;
                    if (d.A12 != 0 || d.A21 != 0 || d.alpha12 != 0) continue;
                    if (a.Normal_Boiling_Point < 200 || b.Normal_Boiling_Point < 200) { d.A12 = 0.01; d.A21 = 0.01; d.alpha12 = 0.2; }
                    else { d.A12 = FallbackEstimate; d.A21 = FallbackEstimate; d.alpha12 = FallbackEstimate; }
                }
        }

        protected override PhaseModel Model(ConstantProperties[] c)
        {
            var p = NrtlParameters.From(m_act.InteractionParameters, c);
            bool check = !ActivityCoefficientModels_IgnoreMissingInteractionParameters;
            return new ActivityModel(c, (T, x) =>
            {
                if (check) p.CheckMissing(x);
                return p.LnGamma(T, x);
            });
        }
    }

    [Serializable]
    public class UNIQUACPropertyPackage : PropertyPackage
    {
        private readonly Auxiliary.UNIQUAC m_act = new Auxiliary.UNIQUAC();

        public UNIQUACPropertyPackage() { ComponentName = "UNIQUAC"; DisplayName = "UNIQUAC"; }

        public Auxiliary.UNIQUAC m_uni { get { return m_act; } }

        public bool AutoEstimateMissingNRTLUNIQUACParameters { get; set; } = true;

        // No UNIQUAC equations in the stand-in: the base class's ideal liquid (README).
    }

    // The kij matrix of a cubic package, built as DWSIM builds it when a stream is set: again
    // only when the parameters are dirty, there is no matrix yet, or model parameters are not
    // locked (a flowsheet solve locks them). A new compound list also rebuilds it here.
    [Serializable]
    internal sealed class KijCache
    {
        [NonSerialized] private double[,] _k;
        [NonSerialized] private string[] _names;

        public double[,] Matrix { get { return _k; } }

        public bool Refresh(CubicModelBase model, ConstantProperties[] c, object dirtyFlag)
        {
            bool dirty = dirtyFlag != null && Convert.ToBoolean(dirtyFlag);
            bool sameCompounds = _names != null && _names.SequenceEqual(c.Select(x => x.Name));
            if (!dirty && sameCompounds && Settings.LockModelParameters) return false;
            int n = c.Length;
            _k = new double[n, n];
            for (int i = 0; i < n; i++)
                for (int j = 0; j < n; j++)
                    _k[i, j] = model.Kij(c[i].Name, c[j].Name);
            _names = c.Select(x => x.Name).ToArray();
            return true;
        }
    }

    [Serializable]
    public class PengRobinsonPropertyPackage : PropertyPackage
    {
        public Auxiliary.PengRobinson m_pr = new Auxiliary.PengRobinson();
        private readonly KijCache _kij = new KijCache();

        public PengRobinsonPropertyPackage() { ComponentName = "Peng-Robinson (PR)"; DisplayName = "Peng-Robinson (PR)"; }

        // Untyped (Object) in DWSIM; reset to False once the kij matrix is rebuilt.
        public object AreModelParametersDirty { get; set; } = true;

        protected override void RunPostMaterialStreamSetRoutine(ConstantProperties[] c)
        {
            if (_kij.Refresh(m_pr, c, AreModelParametersDirty)) AreModelParametersDirty = false;
        }

        protected override PhaseModel Model(ConstantProperties[] c) { return new CubicModel(c, _kij.Matrix, true); }
    }

    [Serializable]
    public class SRKPropertyPackage : PropertyPackage
    {
        public Auxiliary.SRK m_pr = new Auxiliary.SRK();
        private readonly KijCache _kij = new KijCache();

        public SRKPropertyPackage() { ComponentName = "Soave-Redlich-Kwong (SRK)"; DisplayName = "Soave-Redlich-Kwong (SRK)"; }

        public object AreModelParametersDirty { get; set; } = true;

        protected override void RunPostMaterialStreamSetRoutine(ConstantProperties[] c)
        {
            if (_kij.Refresh(m_pr, c, AreModelParametersDirty)) AreModelParametersDirty = false;
        }

        protected override PhaseModel Model(ConstantProperties[] c) { return new CubicModel(c, _kij.Matrix, false); }
    }
}

namespace DWSIM.Thermodynamics
{
    [Serializable]
    public class WilsonModel
    {
        // CAS -> CAS -> {A12, A21}; empty in the stand-in.
        public System.Collections.Generic.Dictionary<string, System.Collections.Generic.Dictionary<string, double[]>> BIPs { get; set; }
            = new System.Collections.Generic.Dictionary<string, System.Collections.Generic.Dictionary<string, double[]>>();
    }

    [Serializable]
    public class WilsonPropertyPackage : PropertyPackages.PropertyPackage
    {
        public WilsonModel WilsonM = new WilsonModel();

        public WilsonPropertyPackage() { ComponentName = "Wilson"; DisplayName = "Wilson"; }

        // No Wilson equations in the stand-in: the base class's ideal liquid (README).
    }
}
