// Binary interaction parameter tables of the activity-coefficient and cubic models, keyed by
// compound name, filled with a few literature pairs when a package is constructed.
using System;
using System.Collections.Generic;

namespace DWSIM.Thermodynamics.PropertyPackages.Auxiliary
{
    [Serializable]
    public class NRTL_IPData : ICloneable
    {
        public object ID1 = "";
        public object ID2 = "";
        public double A12, A21, B12, B21, C12, C21, alpha12;
        public string comment = "";

        public object Clone()
        {
            return new NRTL_IPData
            {
                ID1 = ID1, ID2 = ID2, A12 = A12, A21 = A21, B12 = B12, B21 = B21,
                C12 = C12, C21 = C21, alpha12 = alpha12, comment = comment
            };
        }
    }

    [Serializable]
    public class NRTL
    {
        public Dictionary<string, Dictionary<string, NRTL_IPData>> InteractionParameters { get; set; }

        public NRTL()
        {
            InteractionParameters = new Dictionary<string, Dictionary<string, NRTL_IPData>>();
            // A12, A21 in cal/mol, DECHEMA VLE Data Collection values as commonly reproduced.
            Add("Ethanol", "Water", -57.9601, 1241.7396, 0.2937);
            Add("Acetone", "Water", 631.05, 1197.41, 0.5343);
            Add("Methanol", "Water", -253.88, 845.21, 0.2994);
        }

        private void Add(string c1, string c2, double a12, double a21, double alpha)
        {
            if (!InteractionParameters.ContainsKey(c1))
                InteractionParameters.Add(c1, new Dictionary<string, NRTL_IPData>());
            InteractionParameters[c1][c2] = new NRTL_IPData { ID1 = c1, ID2 = c2, A12 = a12, A21 = a21, alpha12 = alpha };
        }
    }

    [Serializable]
    public class UNIQUAC_IPData : ICloneable
    {
        public object ID1 = "";
        public object ID2 = "";
        public double A12, A21, B12, B21, C12, C21;
        public string comment = "";

        public object Clone()
        {
            return new UNIQUAC_IPData
            {
                ID1 = ID1, ID2 = ID2, A12 = A12, A21 = A21, B12 = B12, B21 = B21,
                C12 = C12, C21 = C21, comment = comment
            };
        }
    }

    [Serializable]
    public class UNIQUAC
    {
        private readonly Dictionary<string, Dictionary<string, UNIQUAC_IPData>> _ip =
            new Dictionary<string, Dictionary<string, UNIQUAC_IPData>>();

        // Empty in the stand-in: no UNIQUAC pairs are shipped.
        public Dictionary<string, Dictionary<string, UNIQUAC_IPData>> InteractionParameters { get { return _ip; } }
    }

    [Serializable]
    public class PR_IPData : ICloneable
    {
        public int ID1 = -1;
        public int ID2 = -1;
        public string Name1 = "";
        public string Name2 = "";
        public string comment = "";
        public object Owner;

        public double kij { get; set; }

        public object Clone()
        {
            return new PR_IPData { ID1 = ID1, ID2 = ID2, Name1 = Name1, Name2 = Name2, comment = comment, Owner = Owner, kij = kij };
        }
    }

    [Serializable]
    public abstract class CubicModelBase
    {
        private readonly Dictionary<string, Dictionary<string, PR_IPData>> _ip =
            new Dictionary<string, Dictionary<string, PR_IPData>>();

        public Dictionary<string, Dictionary<string, PR_IPData>> InteractionParameters { get { return _ip; } }

        protected void Add(string c1, string c2, double kij)
        {
            if (!_ip.ContainsKey(c1)) _ip.Add(c1, new Dictionary<string, PR_IPData>());
            _ip[c1][c2] = new PR_IPData { Name1 = c1, Name2 = c2, kij = kij };
        }
    }

    // kij values of Knapp et al. (DECHEMA Chemistry Data Series VI), a handful of gas pairs.
    [Serializable]
    public class PengRobinson : CubicModelBase
    {
        public PengRobinson()
        {
            Add("Methane", "Carbon dioxide", 0.0919);
            Add("Methane", "Nitrogen", 0.0311);
            Add("Ethane", "Carbon dioxide", 0.1322);
            Add("Propane", "Carbon dioxide", 0.1241);
        }
    }

    [Serializable]
    public class SRK : CubicModelBase
    {
        public SRK()
        {
            Add("Methane", "Carbon dioxide", 0.0933);
            Add("Methane", "Nitrogen", 0.0278);
        }
    }
}
