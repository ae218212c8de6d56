// The six property packages. They differ in names and parameter tables; all of them compute
// with the same ideal-solution model (IdealFlash), which README states plainly.
using System;
using DWSIM.Interfaces;
using DWSIM.Thermodynamics.BaseClasses;
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

        public virtual FlashResult FlashPT(ConstantProperties[] c, double[] z, double T, double P)
        {
            return IdealFlash.PT(c, z, T, P);
        }

        public virtual FlashResult FlashPH(ConstantProperties[] c, double[] z, double P, double H, double Tguess)
        {
            return IdealFlash.PH(c, z, P, H, Tguess);
        }

        public virtual FlashResult FlashPVF(ConstantProperties[] c, double[] z, double P, double VF, double Tguess)
        {
            return IdealFlash.PVF(c, z, P, VF, Tguess);
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

        public NRTLPropertyPackage() { ComponentName = "NRTL"; DisplayName = "NRTL"; }

        // As in DWSIM the setter keeps the existing model: replace parameters, not the model.
        public Auxiliary.NRTL m_uni
        {
            get { return m_act; }
            set { m_act = m_act ?? value; }
        }

        public bool AutoEstimateMissingNRTLUNIQUACParameters { get; set; } = true;
    }

    [Serializable]
    public class UNIQUACPropertyPackage : PropertyPackage
    {
        private readonly Auxiliary.UNIQUAC m_act = new Auxiliary.UNIQUAC();

        public UNIQUACPropertyPackage() { ComponentName = "UNIQUAC"; DisplayName = "UNIQUAC"; }

        public Auxiliary.UNIQUAC m_uni { get { return m_act; } }

        public bool AutoEstimateMissingNRTLUNIQUACParameters { get; set; } = true;
    }

    [Serializable]
    public class PengRobinsonPropertyPackage : PropertyPackage
    {
        public Auxiliary.PengRobinson m_pr = new Auxiliary.PengRobinson();

        public PengRobinsonPropertyPackage() { ComponentName = "Peng-Robinson (PR)"; DisplayName = "Peng-Robinson (PR)"; }

        // Untyped (Object) in DWSIM; the stand-in has no kij cache, so it is only stored.
        public object AreModelParametersDirty { get; set; } = true;
    }

    [Serializable]
    public class SRKPropertyPackage : PropertyPackage
    {
        public Auxiliary.SRK m_pr = new Auxiliary.SRK();

        public SRKPropertyPackage() { ComponentName = "Soave-Redlich-Kwong (SRK)"; DisplayName = "Soave-Redlich-Kwong (SRK)"; }

        public object AreModelParametersDirty { get; set; } = true;
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
    }
}
