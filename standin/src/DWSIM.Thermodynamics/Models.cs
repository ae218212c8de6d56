// Binary interaction parameter tables of the activity-coefficient and cubic models, keyed by
// compound name. NRTL, Peng-Robinson and SRK hold DWSIM's construction tables (nrtl.tsv,
// pr_kij.tsv, srk_kij.tsv, embedded): every key as DWSIM has it (Portuguese names, "" and
// numeric ids included), in DWSIM's enumeration order, a fresh copy of every record for every
// model object, since DWSIM's model constructors re-read their files each time.
using System;
using System.Collections.Generic;
using System.Globalization;
using System.IO;

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

    // The construction tables, parsed once per process; every model object copies the rows.
    internal static class ParameterTables
    {
        private static readonly object Gate = new object();
        private static Dictionary<string, string[][]> _rows = new Dictionary<string, string[][]>();

        // ChemSep ids of compounds whose id is known (DWSIM writes them as the compound ID in
        // its files); DWSIM's records from nrtl.dat/pr_ip.dat carry these ids. Other ids are
        // unknown to the stand-in, see README.
        private static readonly Dictionary<string, int> KnownIds = new Dictionary<string, int>
        {
            { "Propane", 3 }, { "Propano", 3 }, { "Benzene", 501 }, { "Benzeno", 501 }, { "Toluene", 502 },
            { "Tolueno", 502 }, { "Oxygen", 901 }, { "Hydrogen", 902 }, { "Nitrogen", 905 },
            { "Carbon dioxide", 909 }, { "DioxidoDeCarbono", 909 }, { "Ethanol", 1102 }, { "Etanol", 1102 },
            { "Ammonia", 1911 }, { "Water", 1921 }, { "Agua", 1921 }
        };

        public static int Id(string name)
        {
            int id;
            return KnownIds.TryGetValue(name, out id) ? id : -1;
        }

        public static string[][] Rows(string resource)
        {
            lock (Gate)
            {
                string[][] rows;
                if (_rows.TryGetValue(resource, out rows)) return rows;
                var list = new List<string[]>();
                using (var s = typeof(ParameterTables).Assembly.GetManifestResourceStream(resource))
                {
                    if (s == null) throw new FileNotFoundException("embedded resource missing: " + resource);
                    using (var r = new StreamReader(s))
                    {
                        r.ReadLine();   // header
                        string line;
                        while ((line = r.ReadLine()) != null)
                            if (line.Length > 0) list.Add(line.Split('\t'));
                    }
                }
                rows = list.ToArray();
                _rows[resource] = rows;
                return rows;
            }
        }

        public static double Num(string s) { return double.Parse(s, NumberStyles.Float, CultureInfo.InvariantCulture); }

        public static void Fill(Dictionary<string, Dictionary<string, PR_IPData>> table, string resource)
        {
            foreach (var f in Rows(resource))
            {
                Dictionary<string, PR_IPData> row;
                if (!table.TryGetValue(f[0], out row)) { row = new Dictionary<string, PR_IPData>(); table.Add(f[0], row); }
                row.Add(f[1], new PR_IPData { ID1 = Id(f[0]), ID2 = Id(f[1]), Name1 = f[0], Name2 = f[1], kij = Num(f[2]) });
            }
        }
    }

    [Serializable]
    public class NRTL
    {
        public Dictionary<string, Dictionary<string, NRTL_IPData>> InteractionParameters { get; set; }

        public NRTL()
        {
            InteractionParameters = new Dictionary<string, Dictionary<string, NRTL_IPData>>();
            foreach (var f in ParameterTables.Rows("nrtl.tsv"))
            {
                Dictionary<string, NRTL_IPData> row;
                if (!InteractionParameters.TryGetValue(f[0], out row))
                {
                    row = new Dictionary<string, NRTL_IPData>();
                    InteractionParameters.Add(f[0], row);
                }
                // nrtl.dat records keep their numeric ChemSep ids, the others the names.
                int i1 = ParameterTables.Id(f[0]), i2 = ParameterTables.Id(f[1]);
                bool ids = i1 > 0 && i2 > 0;
                row.Add(f[1], new NRTL_IPData
                {
                    ID1 = ids ? i1.ToString(CultureInfo.InvariantCulture) : f[0],
                    ID2 = ids ? i2.ToString(CultureInfo.InvariantCulture) : f[1],
                    A12 = ParameterTables.Num(f[2]), A21 = ParameterTables.Num(f[3]),
                    B12 = ParameterTables.Num(f[4]), B21 = ParameterTables.Num(f[5]),
                    C12 = ParameterTables.Num(f[6]), C21 = ParameterTables.Num(f[7]),
                    alpha12 = ParameterTables.Num(f[8])
                });
            }
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

        // Empty in the stand-in: DWSIM's UNIQUAC database is not part of the facts.
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

        // Read-only as in DWSIM; the dictionary itself is mutable.
        public Dictionary<string, Dictionary<string, PR_IPData>> InteractionParameters { get { return _ip; } }

        protected CubicModelBase(string resource) { ParameterTables.Fill(_ip, resource); }

        // DWSIM's lookup: [n1][n2], else [n2][n1], else 0.
        public double Kij(string n1, string n2)
        {
            Dictionary<string, PR_IPData> row;
            PR_IPData d;
            if (_ip.TryGetValue(n1, out row) && row.TryGetValue(n2, out d)) return d.kij;
            if (_ip.TryGetValue(n2, out row) && row.TryGetValue(n1, out d)) return d.kij;
            return 0.0;
        }
    }

    [Serializable]
    public class PengRobinson : CubicModelBase
    {
        public PengRobinson() : base("pr_kij.tsv") { }
    }

    [Serializable]
    public class SRK : CubicModelBase
    {
        public SRK() : base("srk_kij.tsv") { }
    }
}
